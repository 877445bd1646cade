#pragma once

#include <atomic>
#include <memory>
#include <vector>

#include "QuillfernGW/ThreadTable.h"

namespace Qfn {

// One listening socket of the gateway (one per address family the host offers) and its accept threads.
struct ServerDefinition {
    explicit ServerDefinition(int serverSocket) : fServerSocket(serverSocket) {}
    const int fServerSocket;
    ThreadTable fThreadTable;
    // Set when the gateway stops taking connections: no accept thread is started any more.
    std::atomic<bool> fIsClosed{false};
};

extern std::vector<std::shared_ptr<ServerDefinition>> gServerDefinitionVector;

}  // namespace Qfn
