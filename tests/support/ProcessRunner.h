#pragma once

#include <sys/types.h>
#include <termios.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace QfnTest {

// Runs the built binary as a child process with its own HOME and XDG_DATA_HOME, collecting
// standard output and standard error into files.
class ProcessRunner {
public:
    explicit ProcessRunner(std::vector<std::string> arguments);
    ~ProcessRunner();

    bool start();
    // Standard input and output on a pseudo-terminal instead (standard error still to its file),
    // which is the controlling terminal of the process's own session, as a shell would start it.
    bool startInTerminal();
    // What the process reads on standard input (a file), given before start; /dev/null otherwise.
    void setStandardInput(const std::string& text);
    // A further NAME=value for the environment, given before start.
    void addEnvironment(const std::string& entry) { fExtraEnvironment.push_back(entry); }
    // The process's own folder (its HOME is "home" below it), for files a test puts there.
    const std::string& directory() const { return fDirectory; }
    std::string homeDirectory() const { return fDirectory + "/home"; }
    std::string dataDirectory() const { return fDirectory + "/home/.local/share"; }
    // The terminal: keys typed, and everything shown so far (read without waiting).
    bool typeKeys(const std::string& keys) const;
    const std::string& terminalOutput();
    // The terminal's modes now (read on a side of it this object keeps open, so also after the
    // process has ended), and as they were before the process started.
    bool terminalModes(struct termios& modes) const;
    const struct termios& terminalModesAtStart() const { return fTerminalModesAtStart; }
    // Waits until the terminal has shown the text (after the given offset of its output).
    bool waitForTerminal(const std::string& text, std::chrono::milliseconds timeout, size_t from = 0);
    // Waits for the process to end; false when it is still running at the deadline.
    bool waitForExit(std::chrono::milliseconds timeout);
    // Polls a condition every millisecond until it holds or the time is up.
    static bool waitFor(const std::function<bool()>& condition, std::chrono::milliseconds timeout);
    bool sendSignal(int signalNumber) const;
    // True once the process has installed a handler for the signal.
    bool catchesSignal(int signalNumber) const;
    // User plus system CPU time of the running process, in clock ticks.
    long cpuTicks() const;

    pid_t pid() const { return fPid; }
    int exitStatus() const { return fExitStatus; }
    bool exitedNormally() const { return fExitedNormally; }
    std::string standardOutput() const;
    std::string standardError() const;

private:
    std::vector<std::string> fArguments;
    bool spawn(bool inTerminal);

    std::string fDirectory;
    std::vector<std::string> fExtraEnvironment;
    bool fHasStandardInput = false;
    int fTerminalFd = -1;
    int fTerminalSideFd = -1;
    struct termios fTerminalModesAtStart {};
    std::string fTerminalOutput;
    pid_t fPid = -1;
    int fExitStatus = -1;
    bool fExitedNormally = false;
};

}  // namespace QfnTest
