#include "QuillfernGW/SocketEntry.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <map>

#include "QfnCoordinator/InternalCoordinator.h"
#include "QfnLogger/Check.h"
#include "QfnLogger/Log.h"
#include "QfnUtils/Clock.h"
#include "QfnUtils/Utils.h"

namespace Qfn {

namespace {

// Lines waiting for the coordinator thread; a connection that sends faster than they are taken
// waits (and so does its peer, by TCP) while this many bytes wait.
constexpr size_t kMaxInputBytes = 64 * 1024 * 1024;
// Answers waiting to be sent to one connection.
constexpr size_t kMaxOutgoingBytes = 64 * 1024 * 1024;

struct Table {
    std::mutex mutex;
    std::map<std::string, std::shared_ptr<SocketEntry>> entries;
};

Table& table()
{
    static Table instance;
    return instance;
}

struct Inbox {
    std::mutex mutex;
    std::condition_variable roomMade;
    std::vector<SocketEntry::Input> lines;
    // Whether lines wait, readable without the lock: the coordinator looks on every pass.
    std::atomic<bool> hasLines{false};
    size_t bytes = 0;
    bool isTakingInput = false;
};

Inbox& inbox()
{
    static Inbox instance;
    return instance;
}

// How long a connection to another gateway may take to open.
constexpr int kConnectMilliseconds = 10000;

}  // namespace

std::string SocketEntry::keyOf(const struct sockaddr* address)
{
    char text[INET6_ADDRSTRLEN] = {0};
    if (!address) return std::string();
    if (address->sa_family == AF_INET) {
        const auto* ipv4 = reinterpret_cast<const sockaddr_in*>(address);
        if (!inet_ntop(AF_INET, &ipv4->sin_addr, text, sizeof text)) return std::string();
        return std::string(text) + ":" + std::to_string(ntohs(ipv4->sin_port));
    }
    const auto* ipv6 = reinterpret_cast<const sockaddr_in6*>(address);
    if (!inet_ntop(AF_INET6, &ipv6->sin6_addr, text, sizeof text)) return std::string();
    return "[" + std::string(text) + "]:" + std::to_string(ntohs(ipv6->sin6_port));
}

SocketEntry::SocketEntry(std::string key, std::string hostName, int socket)
    : fKey(std::move(key)),
      fHostName(std::move(hostName)),
      fSocket(socket),
      fLastActivity(Clock::nowNanoseconds())
{
}

SocketEntry::~SocketEntry()
{
    close();
}

void SocketEntry::start()
{
    // An outgoing connection's read thread starts once its write thread has connected.
    if (fSocket >= 0) fReadThread = std::thread(&SocketEntry::readLoop, this);
    fWriteThread = std::thread(&SocketEntry::writeLoop, this);
}

std::shared_ptr<SocketEntry> SocketEntry::fromSocket(const std::string& key, int socket)
{
    std::shared_ptr<SocketEntry> retVal;
    std::shared_ptr<SocketEntry> replaced;
    try {
        do {
            SANITY_CHECK(socket >= 0);
            std::shared_ptr<SocketEntry> entry(new SocketEntry(key, std::string(), socket));
            // Started under the table's lock, as an outgoing entry is: a reply to the first line its
            // read thread hands over waits for the lock and then finds the entry, rather than being
            // dropped as owed to a connection that is not there.
            std::lock_guard<std::mutex> lock(table().mutex);
            entry->start();
            std::shared_ptr<SocketEntry>& slot = table().entries[key];
            replaced = std::move(slot);
            slot = entry;
            retVal = entry;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    // The entry that had the key is ended outside the table's lock: its threads are joined.
    replaced.reset();
    return retVal;
}

std::shared_ptr<SocketEntry> SocketEntry::factory(const std::string& hostName)
{
    std::shared_ptr<SocketEntry> retVal;
    try {
        do {
            SANITY_CHECK(!hostName.empty());
            std::lock_guard<std::mutex> lock(table().mutex);
            auto found = table().entries.find(hostName);
            if (found != table().entries.end() && !found->second->isAbandoned()) {
                retVal = found->second;
                break;
            }
            // An entry of an accepted connection that is gone is not made again: its peer must call.
            if (hostName.find(':') != std::string::npos) break;
            std::shared_ptr<SocketEntry> entry(new SocketEntry(hostName, hostName, -1));
            entry->start();
            table().entries[hostName] = entry;
            retVal = entry;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

void SocketEntry::sendToHost(const std::string& hostName, const std::string& line)
{
    std::shared_ptr<SocketEntry> entry = factory(hostName);
    if (entry) {
        entry->write(line);
    } else
        LOG_NOTE(Utils::stringWithFormat("no connection to %s: message dropped", hostName.c_str()));
}

void SocketEntry::write(const std::string& line)
{
    bool isOverfull = false;
    {
        std::lock_guard<std::mutex> lock(fWriteMutex);
        if (fAbandoned || fStopWriting) return;
        // With nothing before it, the line goes out at once from here, as far as the socket takes it
        // without waiting: the write thread is woken only for what is left.
        size_t sent = 0;
        const int socket = fSocket.load();
        if (fOutgoing.empty() && !fIsWriting && socket >= 0) {
            while (sent < line.size()) {
                const ssize_t result =
                    ::send(socket, line.data() + sent, line.size() - sent, MSG_DONTWAIT | MSG_NOSIGNAL);
                if (result < 1) break;
                sent += static_cast<size_t>(result);
            }
            if (sent == line.size()) {
                fLastActivity = Clock::nowNanoseconds();
                return;
            }
        }
        // A peer that does not read its answers is let go before they pile up without end.
        isOverfull = fOutgoingBytes + line.size() - sent > kMaxOutgoingBytes;
        if (!isOverfull) {
            fOutgoing.push_back(sent == 0 ? line : line.substr(sent));
            fOutgoingBytes += line.size() - sent;
        }
    }
    if (isOverfull) {
        LOG_WARNING(
            Utils::stringWithFormat("%s does not read its answers: connection dropped", fKey.c_str()));
        abandon();
        const int socket = fSocket.load();
        if (socket >= 0) ::shutdown(socket, SHUT_RDWR);
        return;
    }
    fWriteCondition.notify_one();
}

void SocketEntry::setIsTakingInput(bool value)
{
    {
        std::lock_guard<std::mutex> lock(inbox().mutex);
        inbox().isTakingInput = value;
    }
    inbox().roomMade.notify_all();
}

void SocketEntry::takeInput(std::vector<Input>& input)
{
    if (!inbox().hasLines.load(std::memory_order_acquire)) return;
    {
        std::lock_guard<std::mutex> lock(inbox().mutex);
        if (inbox().lines.empty()) return;
        input.swap(inbox().lines);
        inbox().lines.clear();
        inbox().bytes = 0;
        inbox().hasLines.store(false, std::memory_order_relaxed);
    }
    inbox().roomMade.notify_all();
}

void SocketEntry::readLoop()
{
    try {
        char buffer[4096];
        std::vector<std::string> lines;
        while (!fAbandoned) {
            const ssize_t received = ::recv(fSocket, buffer, sizeof buffer, 0);
            if (received < 1) break;
            fLastActivity = Clock::nowNanoseconds();
            lines.clear();
            if (!fSplitter.append(buffer, static_cast<size_t>(received), lines)) {
                LOG_WARNING(
                    Utils::stringWithFormat("%s sent a line of more than %zu bytes: connection dropped",
                                            fKey.c_str(), LineSplitter::kMaxLineBytes));
                break;
            }
            if (lines.empty()) continue;
            Inbox& in = inbox();
            std::unique_lock<std::mutex> lock(in.mutex);
            in.roomMade.wait(lock,
                             [&] { return in.bytes < kMaxInputBytes || fAbandoned || !in.isTakingInput; });
            if (!in.isTakingInput) continue;
            for (std::string& line : lines) {
                in.bytes += line.size();
                in.lines.push_back({fKey, Utils::unescapeIPC(line)});
            }
            in.hasLines.store(true, std::memory_order_release);
            lock.unlock();
            InternalCoordinator::wakeEventLoop();
        }
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    abandon();
}

// Connects without blocking for longer than a tenth of a second at a time, so that an entry
// abandoned meanwhile (termination, the sweep) stops waiting for a host that does not answer.
bool SocketEntry::connectWithin(int socket, const struct addrinfo* address)
{
    const int flags = ::fcntl(socket, F_GETFL, 0);
    if (flags == -1 || ::fcntl(socket, F_SETFL, flags | O_NONBLOCK) == -1) return false;
    if (::connect(socket, address->ai_addr, address->ai_addrlen) == -1) {
        if (errno != EINPROGRESS) return false;
        struct pollfd pending {
            socket, POLLOUT, 0
        };
        int waited = 0;
        while (true) {
            if (fAbandoned || waited >= kConnectMilliseconds) return false;
            const int ready = ::poll(&pending, 1, 100);
            if (ready == 1) break;
            if (ready == -1 && errno != EINTR) return false;
            waited += 100;
        }
        int error = 0;
        socklen_t errorSize = sizeof error;
        if (::getsockopt(socket, SOL_SOCKET, SO_ERROR, &error, &errorSize) == -1 || error != 0) return false;
    }
    return ::fcntl(socket, F_SETFL, flags) != -1;
}

bool SocketEntry::connectOutgoing()
{
    bool retVal = false;
    struct addrinfo* addresses = nullptr;
    try {
        do {
            struct addrinfo hints {};
            hints.ai_family = AF_UNSPEC;
            hints.ai_socktype = SOCK_STREAM;
            const int result = ::getaddrinfo(fHostName.c_str(), InternalCoordinator::getGatewayPort().c_str(),
                                             &hints, &addresses);
            if (result != 0) {
                LOG_WARNING(Utils::stringWithFormat("getaddrinfo: %s (%s port %s)", gai_strerror(result), fHostName.c_str(),
                                                    InternalCoordinator::getGatewayPort().c_str()));
                break;
            }
            for (struct addrinfo* address = addresses; address; address = address->ai_next) {
                const int socket = ::socket(address->ai_family, address->ai_socktype, address->ai_protocol);
                if (socket == -1) continue;
                if (!connectWithin(socket, address)) {
                    ::close(socket);
                    continue;
                }
                // Termination may have come meanwhile: then the socket is not kept.
                std::lock_guard<std::mutex> lock(fWriteMutex);
                if (fAbandoned) {
                    ::close(socket);
                    break;
                }
                fSocket = socket;
                retVal = true;
                break;
            }
            if (!retVal) LOG_WARNING(Utils::stringWithFormat("failed to connect to %s", fHostName.c_str()));
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    if (addresses) ::freeaddrinfo(addresses);
    return retVal;
}

bool SocketEntry::sendAll(const std::string& text)
{
    size_t sent = 0;
    while (sent < text.size()) {
        const ssize_t result = ::send(fSocket, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
        if (result == -1 && errno == EINTR) continue;
        if (result < 1) return false;
        sent += static_cast<size_t>(result);
    }
    return true;
}

void SocketEntry::writeLoop()
{
    try {
        if (fSocket < 0) {
            // Only an entry made for a host name connects out: an accepted connection whose socket
            // is already closed has nowhere to go.
            if (fHostName.empty() || !connectOutgoing()) {
                abandon();
                return;
            }
            std::lock_guard<std::mutex> lock(fWriteMutex);
            if (!fAbandoned) fReadThread = std::thread(&SocketEntry::readLoop, this);
        }
        std::string text;
        while (true) {
            {
                std::unique_lock<std::mutex> lock(fWriteMutex);
                fWriteCondition.wait(lock, [&] { return !fOutgoing.empty() || fStopWriting || fAbandoned; });
                if (fAbandoned || fOutgoing.empty()) break;
                // Everything queued goes in one send: many small replies make few system calls.
                text.clear();
                while (!fOutgoing.empty()) {
                    text += fOutgoing.front();
                    fOutgoing.pop_front();
                }
                fOutgoingBytes = 0;
                fIsWriting = true;
            }
            const bool isSent = sendAll(text);
            {
                std::lock_guard<std::mutex> lock(fWriteMutex);
                fIsWriting = false;
            }
            fWriteCondition.notify_all();
            if (!isSent) {
                LOG_NOTE(Utils::stringWithFormat("sendResult == -1: %s", fKey.c_str()));
                break;
            }
            fLastActivity = Clock::nowNanoseconds();
        }
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    abandon();
}

void SocketEntry::abandon()
{
    {
        std::lock_guard<std::mutex> lock(fWriteMutex);
        fAbandoned = true;
    }
    fWriteCondition.notify_all();
    // A read thread waiting for room in the inbox looks again.
    {
        std::lock_guard<std::mutex> lock(inbox().mutex);
    }
    inbox().roomMade.notify_all();
}

void SocketEntry::close()
{
    abandon();
    const int socket = fSocket.exchange(-1);
    if (socket >= 0) ::shutdown(socket, SHUT_RDWR);
    if (fWriteThread.joinable()) fWriteThread.join();
    // The write thread of an outgoing connection started the read thread: it is joined after it.
    if (fReadThread.joinable()) fReadThread.join();
    if (socket >= 0) ::close(socket);
    // A connection opened while the threads were being ended is closed as well.
    const int late = fSocket.exchange(-1);
    if (late >= 0) ::close(late);
}

bool SocketEntry::sweep(void (*forget)(const std::string& key))
{
    bool retVal = false;
    try {
        std::vector<std::shared_ptr<SocketEntry>> swept;
        const int64_t now = Clock::nowNanoseconds();
        const int64_t idleNanoseconds = InternalCoordinator::getGatewayIdleMicroseconds() * 1000;
        {
            std::lock_guard<std::mutex> lock(table().mutex);
            for (auto entry = table().entries.begin(); entry != table().entries.end();) {
                if (entry->second->fAbandoned || now - entry->second->fLastActivity > idleNanoseconds) {
                    swept.push_back(std::move(entry->second));
                    entry = table().entries.erase(entry);
                } else {
                    ++entry;
                }
            }
        }
        for (const std::shared_ptr<SocketEntry>& entry : swept) {
            LOG_NOTE(Utils::stringWithFormat("sweeping connection %s", entry->fKey.c_str()));
            if (forget) forget(entry->fKey);
        }
        // The entries end here, outside the table's lock: their threads are joined.
        swept.clear();
        retVal = true;
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

void SocketEntry::closeAll(std::chrono::milliseconds flushTime)
{
    try {
        setIsTakingInput(false);
        std::map<std::string, std::shared_ptr<SocketEntry>> entries;
        {
            std::lock_guard<std::mutex> lock(table().mutex);
            entries.swap(table().entries);
        }
        // Replies already owed are sent, for a while.
        const auto deadline = std::chrono::steady_clock::now() + flushTime;
        for (auto& [key, entry] : entries) {
            std::unique_lock<std::mutex> lock(entry->fWriteMutex);
            entry->fStopWriting = true;
            entry->fWriteCondition.notify_all();
            entry->fWriteCondition.wait_until(lock, deadline, [&] {
                return entry->fAbandoned || (entry->fOutgoing.empty() && !entry->fIsWriting);
            });
        }
        entries.clear();
        std::lock_guard<std::mutex> lock(inbox().mutex);
        inbox().lines.clear();
        inbox().bytes = 0;
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

size_t SocketEntry::getEntryCount()
{
    std::lock_guard<std::mutex> lock(table().mutex);
    return table().entries.size();
}

}  // namespace Qfn
