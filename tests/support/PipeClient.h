#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "QfnMessage/IMessage.h"
#include "QfnMessage/OpCode.h"

namespace Qfn {
class GUIDClass;
}

namespace QfnTest {

// A coordinator of a host as the others see it, made by a test: a name of its own published in a
// pid file, its own read pipe and marker file, and packets written into main's pipe. Messages go
// from a sender with GUIDs of its own to a service of a coordinator named in the address.
class PipeClient {
public:
    // dataDirectory is the host's XDG_DATA_HOME; name the client's full coordinator name.
    PipeClient(const std::string& dataDirectory, const std::string& name);
    ~PipeClient();
    PipeClient(const PipeClient&) = delete;
    PipeClient& operator=(const PipeClient&) = delete;

    // Publishes the pid file and opens the read pipe.
    bool open();
    // Sends to the service path of the coordinator (full name), through that coordinator's pipe
    // (main's by default: only main talks to every coordinator of a host).
    bool send(Qfn::OpCode opCode, const std::string& coordinatorName, const std::string& servicePath,
              const std::string& payload,
              const std::string& throughCoordinator = "net.quillfern.coordinator.main");
    // The next message received; null when none came before the deadline.
    std::shared_ptr<Qfn::IMessage> receive(std::chrono::milliseconds timeout);
    void close();
    std::string pipeFolder() const { return fDataDirectory + "/net.quillfern/NamedPipes/"; }
    std::string sessionFolder() const { return fDataDirectory + "/net.quillfern/SessionData/"; }
    // The process ID a coordinator publishes, 0 when it publishes none.
    unsigned long publishedPid(const std::string& coordinatorName) const;

private:
    std::string fDataDirectory;
    std::string fName;
    int fReadHandle = 0;
    int fWriteHandle = 0;
    std::string fWriteTarget;
    Qfn::GUIDClass* fClientGUID;
    Qfn::GUIDClass* fCoordinatorGUID;
};

}  // namespace QfnTest
