#include "support/GatewayClient.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <thread>

#include "QfnAddress/LocalResolvedAddress.h"
#include "QfnAddress/RemoteUnresolvedAddress.h"
#include "QfnData/Data_abstract.h"
#include "QfnMessage/Message.h"
#include "QfnObject/GUIDClass.h"
#include "QfnUtils/Utils.h"
#include "support/ObjectClasses.h"

namespace QfnTest {

GatewayClient::GatewayClient()
    : fClientGUID(Qfn::GUIDClass::randomFactory()), fCoordinatorGUID(Qfn::GUIDClass::randomFactory())
{
    registerObjectClassesOnce();
}

GatewayClient::~GatewayClient()
{
    close();
}

int GatewayClient::freePort()
{
    const int probe = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    int port = 0;
    if (::bind(probe, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
        ::getsockname(probe, reinterpret_cast<sockaddr*>(&address), &size) == 0)
        port = ntohs(address.sin_port);
    ::close(probe);
    return port;
}

bool GatewayClient::connect(int port, std::chrono::milliseconds timeout)
{
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    while (std::chrono::steady_clock::now() < deadline) {
        fSocket = ::socket(AF_INET, SOCK_STREAM, 0);
        if (::connect(fSocket, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) return true;
        ::close(fSocket);
        fSocket = -1;
        // Waiting for the gateway to listen: a short pause between attempts, bounded by the deadline.
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return false;
}

std::string GatewayClient::wireText(Qfn::OpCode opCode, const std::string& servicePath,
                                    const std::string& payload, const std::string& coordinatorName) const
{
    auto message = Qfn::Message::factoryFromSenderDestinationAddressOpCodePayloadStr(
        Qfn::LocalResolvedAddress::factoryFromGUIDs(fClientGUID, fCoordinatorGUID),
        Qfn::RemoteUnresolvedAddress::factoryFromCoordinatorNameIndicesHostName(
            coordinatorName, servicePath, "127.0.0.1"),
        opCode, payload);
    return Qfn::Utils::escapeIPC(Qfn::Data_abstract::serializeToStr(message));
}

bool GatewayClient::send(Qfn::OpCode opCode, const std::string& servicePath, const std::string& payload)
{
    return sendRaw(wireText(opCode, servicePath, payload) + "\r");
}

bool GatewayClient::sendRaw(const std::string& bytes)
{
    size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t result = ::send(fSocket, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (result < 1) return false;
        sent += static_cast<size_t>(result);
    }
    return true;
}

std::shared_ptr<Qfn::IMessage> GatewayClient::receive(std::chrono::milliseconds timeout)
{
    const std::string line = receiveLine(timeout);
    if (line.empty()) return nullptr;
    return std::dynamic_pointer_cast<Qfn::IMessage>(Qfn::Data_abstract::deserializeFromStr(line));
}

std::string GatewayClient::receiveLine(std::chrono::milliseconds timeout)
{
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (fLines.empty()) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0 || fSocket < 0) return std::string();
        pollfd ready{fSocket, POLLIN, 0};
        if (::poll(&ready, 1, static_cast<int>(left.count())) != 1) continue;
        char buffer[65536];
        const ssize_t received = ::recv(fSocket, buffer, sizeof buffer, 0);
        if (received < 1) return std::string();
        std::vector<std::string> lines;
        fSplitter.append(buffer, static_cast<size_t>(received), lines);
        fLines.insert(fLines.end(), lines.begin(), lines.end());
    }
    const std::string line = Qfn::Utils::unescapeIPC(fLines.front());
    fLines.erase(fLines.begin());
    return line;
}

void GatewayClient::close()
{
    if (fSocket >= 0) ::close(fSocket);
    fSocket = -1;
}

}  // namespace QfnTest
