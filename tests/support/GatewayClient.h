#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "QfnMessage/IMessage.h"
#include "QfnMessage/OpCode.h"
#include "QuillfernGW/LineSplitter.h"

namespace Qfn {
class GUIDClass;
}

namespace QfnTest {

// A client of a gateway as another host's gateway would be: one TCP connection, messages written
// as escaped lines ended by a carriage return, from a sender with GUIDs of its own. The object
// model is the test's main thread's: threads of a test use only connect, sendRaw and receiveLine.
class GatewayClient {
public:
    GatewayClient();
    ~GatewayClient();
    GatewayClient(const GatewayClient&) = delete;
    GatewayClient& operator=(const GatewayClient&) = delete;

    // Connects to 127.0.0.1 at the port, trying again until the deadline (the gateway may be starting).
    bool connect(int port, std::chrono::milliseconds timeout);
    // A message to a service of the main coordinator of the host "127.0.0.1".
    bool send(Qfn::OpCode opCode, const std::string& servicePath, const std::string& payload);
    // Any bytes, as they are.
    bool sendRaw(const std::string& bytes);
    // The next message received; null when none came before the deadline or the connection ended.
    std::shared_ptr<Qfn::IMessage> receive(std::chrono::milliseconds timeout);
    // The next line received, unescaped; empty when none came in time.
    std::string receiveLine(std::chrono::milliseconds timeout);
    void close();
    // A free TCP port of loopback, for a gateway of one test.
    static int freePort();
    // The text of a message as it goes on the wire, without its line end.
    std::string wireText(Qfn::OpCode opCode, const std::string& servicePath, const std::string& payload,
                         const std::string& coordinatorName = "net.quillfern.coordinator.main") const;

private:
    int fSocket = -1;
    Qfn::GUIDClass* fClientGUID;
    Qfn::GUIDClass* fCoordinatorGUID;
    Qfn::LineSplitter fSplitter;
    std::vector<std::string> fLines;
};

}  // namespace QfnTest
