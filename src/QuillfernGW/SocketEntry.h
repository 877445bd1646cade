#pragma once

#include <string>

namespace Qfn {

// The connections of the gateway. Until sockets are built there are none: nothing to write or sweep.
class SocketEntry {
public:
    static bool startPendingWriteThreads() { return true; }
    static bool sweep() { return true; }
    // Sends a line to a host; with no connections it goes nowhere.
    static void sendToHost(const std::string&, const std::string&) {}
};

}  // namespace Qfn
