#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace Qfn {

// Static operations on processes: finding one by executable name, telling whether one runs, and
// starting a program once per set of arguments. Coordinators publish their process ids in ".pid"
// files, which are tidied away here once the process they name has ended.
class Process {
public:
    Process() = delete;

    // Set-up at start-up. A program of its own (not embedded) makes sure that ended children are
    // kept for collection rather than discarded by an inherited SIGCHLD disposition.
    static bool init(bool isEmbedded = false);
    // The id of a running process whose executable has that file name, or 0.
    static unsigned long getProcessId(const std::string& name);
    // The id of the running process launchProcess started with these arguments, or 0.
    static unsigned long getProcessId(const std::vector<std::string>& launchArgs);
    // Whether the process runs (a zombie does not). When it doesn't and a coordinator name is
    // given, that coordinator's pid file goes away unless it names another process that runs.
    static bool isRunning(unsigned long processId, const std::string& coordinatorName);
    // Starts launchArgs[0] (a path) with the arguments in a session of its own, unless the process
    // started earlier with the same arguments still runs; its process id, or 0 on failure. The
    // coordinator name only travels on to isRunning.
    static unsigned long launchProcess(const std::vector<std::string>& launchArgs,
                                       const std::string& coordinatorName = "");
    // The arguments as one command line: each one that is empty or holds a blank, a quote or a
    // backslash is put in double quotes, with its quotes and backslashes escaped.
    static std::string launchProcessMapKey(const std::vector<std::string>& launchArgs);
    // Collects ended children without waiting and forgets the launches that have ended; the
    // number of children still running. Called in each main round of the coordinator.
    static size_t reapChildren();
    // The file in which the coordinator of that name publishes its process id.
    static std::string getPidFilePath(const std::string& coordinatorName);

private:
    // isRunning without log lines or side effects.
    static bool isAlive(unsigned long processId);
    // Collects ended children and drops the launches whose process has ended, so that the map
    // stays small and never names a process id that was handed out again.
    static void forgetEndedLaunches();
    // Removes the coordinator's pid file when the process it names does not run.
    static bool removeStalePidFile(const std::string& coordinatorName);
};

}  // namespace Qfn
