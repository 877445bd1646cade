#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace Qfn {

class SocketEntry;

// The gateway's TCP side: listening sockets on every passive address of gatewayPort, their accept
// threads, and the hand-over of what connections receive to the coordinator thread.
// Opens what it can; true also when the port is taken and nothing listens.
bool startListener();
// Starts accept threads into the free slots of a listening socket; called on every server loop pass.
bool replenishListenerThreads(int serverDefinitionIdx);
// The body of an accept thread: one connection, then the slot is free again.
bool handleListener(int serverDefinitionIdx, uint64_t threadIdx);
std::shared_ptr<SocketEntry> setupConnection(int socket, const std::string& remoteKey);
// On the coordinator thread: one line from a connection, turned round and queued.
void readMessage(const std::string& remoteKey, const std::string& message);
// On the coordinator thread: every line handed over since the last call, and the addresses by which
// this host was reached.
bool takeGatewayInput();
// Stops taking connections and waits for the accept threads to end.
void stopListeners();

}  // namespace Qfn
