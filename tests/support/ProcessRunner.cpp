#include "support/ProcessRunner.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

extern char** environ;

namespace QfnTest {

namespace {

std::string readFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

}  // namespace

ProcessRunner::ProcessRunner(std::vector<std::string> arguments) : fArguments(std::move(arguments))
{
    std::string pattern = std::filesystem::temp_directory_path().string() + "/qfn-e2e-XXXXXX";
    std::vector<char> buffer(pattern.begin(), pattern.end());
    buffer.push_back('\0');
    if (mkdtemp(buffer.data())) fDirectory = buffer.data();
}

ProcessRunner::~ProcessRunner()
{
    if (fPid > 0 && !fExitedNormally && fExitStatus == -1) {
        kill(fPid, SIGKILL);
        waitpid(fPid, nullptr, 0);
    }
    if (fTerminalFd >= 0) close(fTerminalFd);
    if (fTerminalSideFd >= 0) close(fTerminalSideFd);
    if (!fDirectory.empty()) {
        std::error_code ignored;
        std::filesystem::remove_all(fDirectory, ignored);
    }
}

bool ProcessRunner::start()
{
    return spawn(false);
}

bool ProcessRunner::startInTerminal()
{
    return spawn(true);
}

void ProcessRunner::setStandardInput(const std::string& text)
{
    std::ofstream(fDirectory + "/stdin", std::ios::binary) << text;
    fHasStandardInput = true;
}

bool ProcessRunner::spawn(bool inTerminal)
{
    if (fDirectory.empty()) return false;
    std::string home = fDirectory + "/home";
    std::filesystem::create_directories(home + "/.local/share");
    std::vector<std::string> environment = {"HOME=" + home, "XDG_DATA_HOME=" + home + "/.local/share",
                                            "TMPDIR=" + fDirectory, "PATH=/usr/bin:/bin"};
    for (const char* sanitizerOptions : {"ASAN_OPTIONS", "TSAN_OPTIONS"}) {
        if (const char* value = std::getenv(sanitizerOptions))
            environment.push_back(std::string(sanitizerOptions) + "=" + value);
    }
    // A further entry replaces one of the same name.
    for (const std::string& extra : fExtraEnvironment) {
        std::string name = extra.substr(0, extra.find('=') + 1);
        std::erase_if(environment, [&name](const std::string& entry) { return entry.rfind(name, 0) == 0; });
        environment.push_back(extra);
    }
    std::vector<char*> envp;
    for (auto& entry : environment)
        envp.push_back(entry.data());
    envp.push_back(nullptr);
    std::vector<char*> argv;
    for (auto& argument : fArguments)
        argv.push_back(argument.data());
    argv.push_back(nullptr);

    std::string terminalPath;
    if (inTerminal) {
        fTerminalFd = posix_openpt(O_RDWR | O_NOCTTY);
        if (fTerminalFd < 0 || grantpt(fTerminalFd) != 0 || unlockpt(fTerminalFd) != 0) return false;
        terminalPath = ptsname(fTerminalFd);
        fcntl(fTerminalFd, F_SETFL, fcntl(fTerminalFd, F_GETFL) | O_NONBLOCK);
        fTerminalSideFd = open(terminalPath.c_str(), O_RDWR | O_NOCTTY);
        if (fTerminalSideFd < 0 || tcgetattr(fTerminalSideFd, &fTerminalModesAtStart) != 0) return false;
    }
    std::string inputPath = fHasStandardInput ? fDirectory + "/stdin" : "/dev/null";
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (inTerminal) {
        posix_spawn_file_actions_addopen(&actions, 0, terminalPath.c_str(), O_RDWR, 0);
        posix_spawn_file_actions_adddup2(&actions, 0, 1);
    } else {
        posix_spawn_file_actions_addopen(&actions, 0, inputPath.c_str(), O_RDONLY, 0);
        posix_spawn_file_actions_addopen(&actions, 1, (fDirectory + "/stdout").c_str(),
                                         O_WRONLY | O_CREAT | O_TRUNC, 0600);
    }
    posix_spawn_file_actions_addopen(&actions, 2, (fDirectory + "/stderr").c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (fTerminalFd >= 0) posix_spawn_file_actions_addclose(&actions, fTerminalFd);
    if (fTerminalSideFd >= 0) posix_spawn_file_actions_addclose(&actions, fTerminalSideFd);
    // A new session first: the terminal it then opens becomes its controlling terminal, so that
    // Ctrl-C typed there interrupts it.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    if (inTerminal) posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID);
    int result = posix_spawn(&fPid, argv[0], &actions, &attributes, argv.data(), envp.data());
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    return result == 0;
}

bool ProcessRunner::typeKeys(const std::string& keys) const
{
    return fTerminalFd >= 0 &&
           write(fTerminalFd, keys.data(), keys.size()) == static_cast<ssize_t>(keys.size());
}

const std::string& ProcessRunner::terminalOutput()
{
    char buffer[4096];
    ssize_t got;
    while (fTerminalFd >= 0 && (got = read(fTerminalFd, buffer, sizeof(buffer))) > 0)
        fTerminalOutput.append(buffer, got);
    return fTerminalOutput;
}

bool ProcessRunner::terminalModes(struct termios& modes) const
{
    return fTerminalSideFd >= 0 && tcgetattr(fTerminalSideFd, &modes) == 0;
}

bool ProcessRunner::waitForTerminal(const std::string& text, std::chrono::milliseconds timeout, size_t from)
{
    return waitFor([&] { return terminalOutput().find(text, from) != std::string::npos; }, timeout);
}

bool ProcessRunner::waitFor(const std::function<bool()>& condition, std::chrono::milliseconds timeout)
{
    auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

bool ProcessRunner::waitForExit(std::chrono::milliseconds timeout)
{
    if (fPid <= 0) return false;
    int status = 0;
    bool exited = waitFor([&] { return waitpid(fPid, &status, WNOHANG) == fPid; }, timeout);
    if (!exited) return false;
    fExitedNormally = WIFEXITED(status);
    fExitStatus = fExitedNormally ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return true;
}

bool ProcessRunner::sendSignal(int signalNumber) const
{
    return fPid > 0 && kill(fPid, signalNumber) == 0;
}

bool ProcessRunner::catchesSignal(int signalNumber) const
{
    std::ifstream status("/proc/" + std::to_string(fPid) + "/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.rfind("SigCgt:", 0) != 0) continue;
        unsigned long long mask = std::strtoull(line.c_str() + 7, nullptr, 16);
        return (mask >> (signalNumber - 1)) & 1ULL;
    }
    return false;
}

long ProcessRunner::cpuTicks() const
{
    std::string stat = readFile("/proc/" + std::to_string(fPid) + "/stat");
    // The command name may hold blanks; the fields after its closing parenthesis are fixed.
    size_t close = stat.rfind(')');
    if (close == std::string::npos) return -1;
    std::istringstream fields(stat.substr(close + 2));
    std::string field;
    long utime = 0;
    long stime = 0;
    for (int index = 3; fields >> field; ++index) {
        if (index == 14) utime = std::stol(field);
        if (index == 15) {
            stime = std::stol(field);
            break;
        }
    }
    return utime + stime;
}

std::string ProcessRunner::standardOutput() const
{
    return readFile(fDirectory + "/stdout");
}

std::string ProcessRunner::standardError() const
{
    return readFile(fDirectory + "/stderr");
}

}  // namespace QfnTest
