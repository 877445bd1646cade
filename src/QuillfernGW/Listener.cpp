#include "QuillfernGW/Listener.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

#include "QfnCoordinator/InternalCoordinator.h"
#include "QfnLogger/Check.h"
#include "QfnLogger/Log.h"
#include "QfnUtils/Utils.h"
#include "QuillfernGW/ServerDefinition.h"
#include "QuillfernGW/SocketEntry.h"

namespace Qfn {

std::vector<std::shared_ptr<ServerDefinition>> gServerDefinitionVector;

namespace {

// Connections waiting in the kernel for an accept thread; a burst of clients waits there rather
// than have its connection attempts dropped and retried a second later.
constexpr int kListenBacklog = SOMAXCONN;

// The addresses by which clients reached this host, learned on accept threads and entered in the
// coordinator's tables on its own thread.
struct LearnedAddresses {
    std::mutex mutex;
    std::set<std::string> seen;
    std::vector<std::string> fresh;
    // Whether fresh holds anything, readable without the lock.
    std::atomic<bool> hasFresh{false};
};

LearnedAddresses& learned()
{
    static LearnedAddresses instance;
    return instance;
}

std::string addressText(const struct sockaddr* address)
{
    char text[INET6_ADDRSTRLEN] = {0};
    const void* binary =
        address->sa_family == AF_INET
            ? static_cast<const void*>(&reinterpret_cast<const sockaddr_in*>(address)->sin_addr)
            : static_cast<const void*>(&reinterpret_cast<const sockaddr_in6*>(address)->sin6_addr);
    return inet_ntop(address->sa_family, binary, text, sizeof text) ? std::string(text) : std::string();
}

bool openListeningSocket(const struct addrinfo* address)
{
    bool retVal = false;
    try {
        do {
            const int serverSocket = ::socket(address->ai_family, address->ai_socktype, address->ai_protocol);
            if (serverSocket == -1) {
                LOG_WARNING(QFN_CHECK_TEXT("EXPECTED", "serverSocket == -1"));
                break;
            }
            const int yes = 1;
            if (::setsockopt(serverSocket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes) == -1)
                LOG_WARNING("setSockOptResult == -1");
            // IPv6 takes only IPv6, so that the IPv4 socket of the same port binds as well.
            if (address->ai_family == AF_INET6 &&
                ::setsockopt(serverSocket, IPPROTO_IPV6, IPV6_V6ONLY, &yes, sizeof yes) == -1)
                LOG_WARNING("setSockOptResult == -1");
            if (::bind(serverSocket, address->ai_addr, address->ai_addrlen) == -1) {
                const std::string reason = std::strerror(errno);
                ::close(serverSocket);
                // Another coordinator of this host is the gateway: a note, not a warning, as every
                // coordinator but the first meets it.
                LOG_NOTE(Utils::stringWithFormat("bindResult == -1: port %s of %s not listened on (%s)",
                                                 InternalCoordinator::getGatewayPort().c_str(),
                                                 addressText(address->ai_addr).c_str(), reason.c_str()));
                break;
            }
            if (::listen(serverSocket, kListenBacklog) == -1) {
                LOG_CHECK_FAILED("SANITY_CHECK", "listenResult != -1");
                ::close(serverSocket);
                break;
            }
            gServerDefinitionVector.push_back(std::make_shared<ServerDefinition>(serverSocket));
            LOG_NOTE(Utils::stringWithFormat("listening on %s port %s", addressText(address->ai_addr).c_str(),
                                             InternalCoordinator::getGatewayPort().c_str()));
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace

bool startListener()
{
    bool retVal = false;
    struct addrinfo* serverAddrInfo = nullptr;
    try {
        do {
            struct addrinfo hints {};
            hints.ai_flags = AI_PASSIVE;
            hints.ai_family = AF_UNSPEC;
            hints.ai_socktype = SOCK_STREAM;
            const int result = ::getaddrinfo(nullptr, InternalCoordinator::getGatewayPort().c_str(), &hints,
                                             &serverAddrInfo);
            if (result != 0) {
                LOG_ERROR(Utils::stringWithFormat("getaddrinfo: %s", gai_strerror(result)));
                break;
            }
            SANITY_CHECK(serverAddrInfo);
            for (struct addrinfo* address = serverAddrInfo; address; address = address->ai_next)
                openListeningSocket(address);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    if (serverAddrInfo) ::freeaddrinfo(serverAddrInfo);
    return retVal;
}

bool replenishListenerThreads(int serverDefinitionIdx)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(serverDefinitionIdx >= 0 &&
                         static_cast<size_t>(serverDefinitionIdx) < gServerDefinitionVector.size());
            ServerDefinition& serverDefinition = *gServerDefinitionVector[serverDefinitionIdx];
            ThreadTable& serverThreadTable = serverDefinition.fThreadTable;
            retVal = true;
            if (serverDefinition.fIsClosed ||
                serverThreadTable.getOccupiedCount() >= serverThreadTable.getTableSize())
                break;
            for (uint64_t threadIdx = 0; threadIdx < serverThreadTable.getTableSize(); ++threadIdx) {
                if (!serverThreadTable.occupySlot(threadIdx)) continue;
                std::thread serverThread(&handleListener, serverDefinitionIdx, threadIdx);
                if (!serverThreadTable.setThreadIntoSlot(serverThread, threadIdx)) {
                    LOG_CHECK_FAILED("SANITY_CHECK",
                                     "serverThreadTable.setThreadIntoSlot(serverThread, threadIdx)");
                    if (serverThread.joinable()) serverThread.detach();
                    retVal = false;
                }
            }
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool handleListener(int serverDefinitionIdx, uint64_t threadIdx)
{
    bool retVal = false;
    try {
        // The vector does not change while accept threads run: it is filled before the first one starts.
        ServerDefinition& serverDefinition = *gServerDefinitionVector[serverDefinitionIdx];
        do {
            struct sockaddr_storage remoteAddress {};
            socklen_t remoteAddressSize = sizeof remoteAddress;
            const int socket =
                ::accept(serverDefinition.fServerSocket, reinterpret_cast<struct sockaddr*>(&remoteAddress),
                         &remoteAddressSize);
            // A listening socket that was shut ends its accept threads here.
            if (socket == -1) {
                retVal = true;
                break;
            }
            if (serverDefinition.fIsClosed) {
                ::close(socket);
                retVal = true;
                break;
            }
            const std::string remoteKey =
                SocketEntry::keyOf(reinterpret_cast<struct sockaddr*>(&remoteAddress));
            if (remoteKey.empty()) {
                LOG_CHECK_FAILED("SANITY_CHECK", "*remoteIPAddr != '\\0'");
                ::close(socket);
                break;
            }
            LOG_NOTE(Utils::stringWithFormat("got connection from %s", remoteKey.c_str()));
            retVal = setupConnection(socket, remoteKey) != nullptr;
        } while (false);
        if (!serverDefinition.fThreadTable.releaseSlot(threadIdx))
            LOG_CHECK_FAILED("SANITY_CHECK", "serverThreadTable.releaseSlot(threadIdx)");
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<SocketEntry> setupConnection(int socket, const std::string& remoteKey)
{
    std::shared_ptr<SocketEntry> retVal;
    try {
        do {
            struct sockaddr_storage localAddress {};
            socklen_t localAddressSize = sizeof localAddress;
            const int getSockNameResult =
                ::getsockname(socket, reinterpret_cast<struct sockaddr*>(&localAddress), &localAddressSize);
            if (getSockNameResult != 0) {
                LOG_CHECK_FAILED("SANITY_CHECK", "getSockNameResult == 0");
                ::close(socket);
                break;
            }
            const std::string localText = addressText(reinterpret_cast<struct sockaddr*>(&localAddress));
            if (!localText.empty()) {
                std::lock_guard<std::mutex> lock(learned().mutex);
                if (learned().seen.insert(localText).second) {
                    learned().fresh.push_back(localText);
                    learned().hasFresh.store(true, std::memory_order_release);
                }
            }
            retVal = SocketEntry::fromSocket(remoteKey, socket);
            if (!retVal) ::close(socket);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

void readMessage(const std::string& remoteKey, const std::string& message)
{
    try {
        do {
            std::shared_ptr<InternalCoordinator> internalCoordinator;
            ASSIGN(internalCoordinator,
                   std::dynamic_pointer_cast<Qfn::InternalCoordinator>(Qfn::InternalCoordinator::factory()));
            // A line that is no message is told at NOTE level: a client's mistake is not this gateway's
            // fault.
            if (!internalCoordinator->receiveGatewayMessageStr(remoteKey, message) && Log::getLogLevel() >= 3)
                LOG_NOTE(Utils::stringWithFormat("line from %s taken for no message", remoteKey.c_str()));
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

bool takeGatewayInput()
{
    bool retVal = false;
    try {
        if (learned().hasFresh.load(std::memory_order_acquire)) {
            std::vector<std::string> fresh;
            {
                std::lock_guard<std::mutex> lock(learned().mutex);
                fresh.swap(learned().fresh);
                learned().hasFresh.store(false, std::memory_order_relaxed);
            }
            for (const std::string& localAddress : fresh)
                InternalCoordinator::registerLocalHostName(localAddress);
        }
        static thread_local std::vector<SocketEntry::Input> input;
        SocketEntry::takeInput(input);
        for (const SocketEntry::Input& line : input)
            readMessage(line.key, line.line);
        input.clear();
        retVal = true;
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

void stopListeners()
{
    try {
        for (const std::shared_ptr<ServerDefinition>& serverDefinition : gServerDefinitionVector) {
            if (serverDefinition->fIsClosed.exchange(true)) continue;
            // Shut, not closed: the accept threads blocked on it return, and the number stays theirs.
            ::shutdown(serverDefinition->fServerSocket, SHUT_RDWR);
        }
        for (const std::shared_ptr<ServerDefinition>& serverDefinition : gServerDefinitionVector) {
            if (!serverDefinition->fThreadTable.waitUntilEmpty(std::chrono::milliseconds(2000)))
                LOG_WARNING("accept threads did not end");
            ::close(serverDefinition->fServerSocket);
        }
        gServerDefinitionVector.clear();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

}  // namespace Qfn
