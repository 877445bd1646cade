#include "QfnUtils/Process.h"

#include <dirent.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <fstream>
#include <map>
#include <memory>
#include <mutex>

#include "QfnLogger/Check.h"
#include "QfnUtils/ChildProcesses.h"
#include "QfnUtils/Dirs.h"
#include "QfnUtils/Utils.h"

namespace Qfn {

namespace {

// What readlink of /proc/<pid>/exe adds when the program file was replaced or removed.
const std::string kDeletedSuffix = " (deleted)";

// The processes launchProcess started, under launchProcessMapKey of their arguments.
std::map<std::string, unsigned long>& launchedProcesses()
{
    static std::map<std::string, unsigned long>* launches = new std::map<std::string, unsigned long>();
    return *launches;
}

std::mutex& launchedProcessesMutex()
{
    static std::mutex* mutex = new std::mutex();
    return *mutex;
}

struct DirCloser {
    void operator()(DIR* dir) const
    {
        if (dir) ::closedir(dir);
    }
};

// The state letter of /proc/<pid>/stat ('R', 'S', 'Z', ...), or 0 when it cannot be read. The
// command name before it stands in parentheses and may itself hold blanks and parentheses.
char procStateLetter(unsigned long processId)
{
    // A process that has gone is an answer here, not a failure: the file is read without a check.
    std::ifstream file("/proc/" + std::to_string(processId) + "/stat");
    std::string stat;
    if (!file || !std::getline(file, stat)) return 0;
    const size_t nameEnd = stat.rfind(')');
    if (nameEnd == std::string::npos || nameEnd + 2 >= stat.size()) return 0;
    return stat[nameEnd + 2];
}

// The file name of the process's executable; empty when the link cannot be read (a zombie, or a
// process of another user).
std::string executableName(const std::string& processId)
{
    char target[PATH_MAX];
    const std::string linkPath = "/proc/" + processId + "/exe";
    const ssize_t length = ::readlink(linkPath.c_str(), target, sizeof target);
    if (length <= 0 || static_cast<size_t>(length) >= sizeof target) return std::string();
    std::string path(target, static_cast<size_t>(length));
    if (path.ends_with(kDeletedSuffix)) path.resize(path.size() - kDeletedSuffix.size());
    return path.substr(path.rfind('/') + 1);
}

// The remembered launch under that key; 0 when there is none.
unsigned long findLaunch(const std::string& key)
{
    std::lock_guard<std::mutex> lock(launchedProcessesMutex());
    const auto found = launchedProcesses().find(key);
    return found == launchedProcesses().end() ? 0 : found->second;
}

}  // namespace

bool Process::init(bool isEmbedded)
{
    bool retVal = false;
    try {
        do {
            if (!isEmbedded) {
                // With SIGCHLD ignored the system would discard ended children at once, and their
                // ids could be handed out again while a launch is still remembered under them.
                struct sigaction current {};
                VERIFY(::sigaction(SIGCHLD, nullptr, &current) == 0);
                if (current.sa_handler == SIG_IGN) {
                    struct sigaction standard {};
                    standard.sa_handler = SIG_DFL;
                    sigemptyset(&standard.sa_mask);
                    VERIFY(::sigaction(SIGCHLD, &standard, nullptr) == 0);
                }
            }
            forgetEndedLaunches();
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Process::isAlive(unsigned long processId)
{
    bool retVal = false;
    try {
        do {
            // 0 and -1 would address process groups; larger values are no process ids.
            if (processId == 0 || processId > static_cast<unsigned long>(INT_MAX)) break;
            if (::kill(static_cast<pid_t>(processId), 0) != 0 && errno != EPERM) break;
            const char state = procStateLetter(processId);
            // 'Z' has ended and waits for its parent to collect it; 'X' is being removed.
            retVal = state != 'Z' && state != 'X';
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

void Process::forgetEndedLaunches()
{
    try {
        const std::vector<pid_t> reaped = ChildProcesses::reap();
        std::lock_guard<std::mutex> lock(launchedProcessesMutex());
        std::erase_if(launchedProcesses(), [&reaped](const auto& entry) {
            return std::find(reaped.begin(), reaped.end(), static_cast<pid_t>(entry.second)) !=
                       reaped.end() ||
                   !isAlive(entry.second);
        });
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

bool Process::isRunning(unsigned long processId, const std::string& coordinatorName)
{
    bool retVal = false;
    try {
        do {
            forgetEndedLaunches();
            if (isAlive(processId)) {
                retVal = true;
                break;
            }
            if (!coordinatorName.empty()) {
                LOG_NOTE(Utils::stringWithFormat("not running any more processId = %ld, coordinatorName = %s",
                                                 static_cast<long>(processId), coordinatorName.c_str()));
                removeStalePidFile(coordinatorName);
            } else {
                LOG_NOTE(Utils::stringWithFormat("not running any more processId = %ld",
                                                 static_cast<long>(processId)));
            }
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Process::removeStalePidFile(const std::string& coordinatorName)
{
    bool retVal = false;
    try {
        do {
            const std::string pidFilePath = getPidFilePath(coordinatorName);
            if (!Dirs::fileExists(pidFilePath)) {
                retVal = true;
                break;
            }
            // Another process may have taken the name over since: its file stays.
            const std::string contents = Dirs::slurpFile(pidFilePath);
            const int64_t publishedPid = contents.empty() ? 0 : Utils::toOMInt(contents);
            if (publishedPid > 0 && isAlive(static_cast<unsigned long>(publishedPid))) {
                retVal = true;
                break;
            }
            VERIFY(::unlink(pidFilePath.c_str()) == 0 || errno == ENOENT);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

unsigned long Process::getProcessId(const std::string& name)
{
    unsigned long retVal = 0;
    try {
        do {
            forgetEndedLaunches();
            if (name.empty()) break;
            std::unique_ptr<DIR, DirCloser> procDir(::opendir("/proc"));
            VERIFY(procDir);
            while (const struct dirent* entry = ::readdir(procDir.get())) {
                const std::string entryName = entry->d_name;
                if (!Utils::isNumeric(entryName) || executableName(entryName) != name) continue;
                retVal = std::stoul(entryName);
                break;
            }
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

unsigned long Process::getProcessId(const std::vector<std::string>& launchArgs)
{
    unsigned long retVal = 0;
    try {
        do {
            SANITY_CHECK(launchArgs.size() > 0);
            forgetEndedLaunches();
            const unsigned long processId = findLaunch(launchProcessMapKey(launchArgs));
            if (processId == 0 || !isRunning(processId, "")) break;
            retVal = processId;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

unsigned long Process::launchProcess(const std::vector<std::string>& launchArgs,
                                     const std::string& coordinatorName)
{
    unsigned long retVal = 0;
    try {
        do {
            // clang-format off
            SANITY_CHECK(! launchArgs.empty());
            // clang-format on
            const std::string& processPath = launchArgs[0];
            SANITY_CHECK(Dirs::fileExists(processPath));
            forgetEndedLaunches();
            const std::string key = launchProcessMapKey(launchArgs);
            const unsigned long runningId = findLaunch(key);
            if (runningId != 0 && isRunning(runningId, coordinatorName)) {
                retVal = runningId;
                break;
            }
            const pid_t processId = ChildProcesses::spawnDetached(launchArgs);
            const bool createProcessResult = processId > 0;
            SANITY_CHECK(createProcessResult);
            {
                std::lock_guard<std::mutex> lock(launchedProcessesMutex());
                launchedProcesses()[key] = static_cast<unsigned long>(processId);
            }
            LOG_NOTE(Utils::stringWithFormat("launched %s, processId = %ul", key.c_str(),
                                             static_cast<unsigned>(processId)));
            retVal = static_cast<unsigned long>(processId);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string Process::launchProcessMapKey(const std::vector<std::string>& launchArgs)
{
    std::string retVal;
    try {
        do {
            for (const std::string& argument : launchArgs) {
                if (!retVal.empty()) retVal.push_back(' ');
                if (!argument.empty() && argument.find_first_of(" \t\n\"\\") == std::string::npos) {
                    retVal += argument;
                    continue;
                }
                retVal.push_back('"');
                for (const char c : argument) {
                    if (c == '"' || c == '\\') retVal.push_back('\\');
                    retVal.push_back(c);
                }
                retVal.push_back('"');
            }
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

size_t Process::reapChildren()
{
    size_t retVal = 0;
    try {
        do {
            forgetEndedLaunches();
            retVal = ChildProcesses::countRunning();
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string Process::getPidFilePath(const std::string& coordinatorName)
{
    std::string retVal;
    try {
        do {
            if (coordinatorName.empty()) break;
            retVal = Dirs::getUserDataPath() + "net.quillfern" + Dirs::kSeparator + "SessionData" +
                     Dirs::kSeparator + coordinatorName + ".pid";
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace Qfn
