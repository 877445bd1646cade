#pragma once

#include <sys/types.h>

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
    std::string fDirectory;
    pid_t fPid = -1;
    int fExitStatus = -1;
    bool fExitedNormally = false;
};

}  // namespace QfnTest
