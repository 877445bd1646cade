#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace Qfn {

// The processes this program starts and does not wait for: each runs in a session of its own, with
// its standard streams on /dev/null and none of our other descriptors, and is collected without
// blocking once it ends, so that none stays behind as a zombie.
class ChildProcesses {
public:
    ChildProcesses() = delete;

    // Starts the program at arguments[0] (a path, not looked up along $PATH) with the arguments;
    // its process id, or 0 when it could not be started.
    static pid_t spawnDetached(const std::vector<std::string>& arguments);
    // Collects the children that have ended, without waiting, and returns their ids.
    static std::vector<pid_t> reap();
    // The number of children started here and not collected yet.
    static size_t countRunning();
};

}  // namespace Qfn
