// A load generator for the gateway, in the manner of a classic server benchmark: a number of clients,
// each with its own TCP connection, keep a number of requests in flight (one by default, more to
// pipeline) until the total is sent and answered, then one table row tells the throughput and the
// latency of the requests (from the send to the receipt of the reply's line). One thread serves every
// connection through epoll, as such benchmarks do, so that the load program neither needs a core per
// connection nor makes the server pay for waking a sleeping thread per reply.
//
// Every request text is made before the measure starts, and the first reply of each connection is
// checked after it ends. Replies on one connection answer that connection's requests in order, so the
// oldest send time in flight is the one a reply ends.
#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "QfnAddress/LocalResolvedAddress.h"
#include "QfnAddress/RemoteUnresolvedAddress.h"
#include "QfnCoordinator/InternalCoordinator.h"
#include "QfnData/Data_abstract.h"
#include "QfnMessage/IMessage.h"
#include "QfnMessage/Message.h"
#include "QfnMessage/OpCode.h"
#include "QfnObject/GUIDClass.h"
#include "QfnParser/model/OMStored.h"
#include "QfnParser/query/OMAccessor.h"
#include "QfnUtils/Utils.h"

namespace {

using Clock = std::chrono::steady_clock;

struct Options {
    std::string host = "127.0.0.1";
    int port = 9888;
    int clients = 1;
    uint64_t requests = 10000;
    int inFlight = 1;
    std::string kind = "ping";
    uint64_t warmup = 0;
    int timeoutMilliseconds = 10000;
    bool header = false;
};

void usage(FILE* out)
{
    std::fprintf(out,
                 "usage: qfn_gateway_load [options]\n"
                 "  -h, --host ADDRESS      gateway address (default 127.0.0.1)\n"
                 "  -p, --port PORT         gateway port (default 9888)\n"
                 "  -c, --clients N         connections (default 1)\n"
                 "  -n, --requests N        requests in all, shared among the clients (default 10000)\n"
                 "  -P, --in-flight N       requests in flight per connection (default 1)\n"
                 "  -t, --kind ping|eval    PING to the ping service, or EVAL of \"1 + 2\" (default ping)\n"
                 "      --warmup N          requests per connection before the measure, not counted\n"
                 "      --timeout MS        longest wait for a reply before a client gives up (10000)\n"
                 "      --header            print the column names above the row\n"
                 "      --help\n");
}

bool parseNumber(const char* text, uint64_t& value, uint64_t least)
{
    char* end = nullptr;
    errno = 0;
    const unsigned long long parsed = std::strtoull(text, &end, 10);
    if (errno != 0 || end == text || *end != '\0' || parsed < least) return false;
    value = parsed;
    return true;
}

bool parseOptions(int argc, char** argv, Options& options)
{
    for (int i = 1; i < argc; ++i) {
        const std::string name = argv[i];
        if (name == "--help") {
            usage(stdout);
            std::exit(0);
        }
        if (name == "--header") {
            options.header = true;
            continue;
        }
        if (i + 1 >= argc) {
            std::fprintf(stderr, "qfn_gateway_load: %s wants a value\n", name.c_str());
            return false;
        }
        const char* value = argv[++i];
        uint64_t number = 0;
        bool ok = true;
        if (name == "-h" || name == "--host") {
            options.host = value;
        } else if (name == "-t" || name == "--kind") {
            options.kind = value;
            ok = options.kind == "ping" || options.kind == "eval";
        } else if (name == "-p" || name == "--port") {
            ok = parseNumber(value, number, 1) && number < 65536;
            options.port = static_cast<int>(number);
        } else if (name == "-c" || name == "--clients") {
            ok = parseNumber(value, number, 1) && number <= 10000;
            options.clients = static_cast<int>(number);
        } else if (name == "-n" || name == "--requests") {
            ok = parseNumber(value, number, 1);
            options.requests = number;
        } else if (name == "-P" || name == "--in-flight") {
            ok = parseNumber(value, number, 1) && number <= 100000;
            options.inFlight = static_cast<int>(number);
        } else if (name == "--warmup") {
            ok = parseNumber(value, number, 0);
            options.warmup = number;
        } else if (name == "--timeout") {
            ok = parseNumber(value, number, 1) && number <= 3600000;
            options.timeoutMilliseconds = static_cast<int>(number);
        } else {
            std::fprintf(stderr, "qfn_gateway_load: unknown option %s\n", name.c_str());
            usage(stderr);
            return false;
        }
        if (!ok) {
            std::fprintf(stderr, "qfn_gateway_load: bad value for %s: %s\n", name.c_str(), value);
            return false;
        }
    }
    if (options.requests < static_cast<uint64_t>(options.clients)) {
        std::fprintf(stderr, "qfn_gateway_load: fewer requests than clients\n");
        return false;
    }
    return true;
}

// One connection and everything its thread touches, made before the thread starts.
struct Client {
    // The request line (with its carriage return) repeated once per request that may be in flight,
    // so that any number of requests up to that goes out in one send from this buffer.
    std::string burst;
    size_t lineSize = 0;
    uint64_t quota = 0;
    // Requests of the running phase: its total, those sent, those answered.
    uint64_t phaseQuota = 0;
    uint64_t sent = 0;
    uint64_t received = 0;
    bool record = false;
    // Send times of the requests in flight, oldest at head.
    std::vector<int64_t> sendTimes;
    size_t head = 0;
    size_t inFlight = 0;
    // Nanoseconds from send to reply, one per request of the measure.
    std::vector<int64_t> latencies;
    // The first reply line, still escaped, for the main thread to check.
    std::string firstReply;
    bool hasFirstReply = false;
    bool lineHasContent = false;
    int socket = -1;
    // The local port, which the gateway knows the connection by.
    int localPort = 0;
    std::string error;
};

int64_t nowNanoseconds()
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch()).count();
}

bool sendAll(int socket, const char* data, size_t size)
{
    while (size > 0) {
        const ssize_t sent = ::send(socket, data, size, MSG_NOSIGNAL);
        if (sent == -1 && errno == EINTR) continue;
        if (sent == -1 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
            pollfd room{socket, POLLOUT, 0};
            if (::poll(&room, 1, 10000) == 1) continue;
            return false;
        }
        if (sent < 1) return false;
        data += sent;
        size -= static_cast<size_t>(sent);
    }
    return true;
}

bool connectClient(Client& client, const sockaddr_storage& address, socklen_t addressSize)
{
    client.socket = ::socket(address.ss_family, SOCK_STREAM, 0);
    if (client.socket < 0) {
        client.error = std::string("socket: ") + std::strerror(errno);
        return false;
    }
    if (::connect(client.socket, reinterpret_cast<const sockaddr*>(&address), addressSize) != 0) {
        client.error = std::string("connect: ") + std::strerror(errno);
        return false;
    }
    sockaddr_storage local{};
    socklen_t localSize = sizeof local;
    if (::getsockname(client.socket, reinterpret_cast<sockaddr*>(&local), &localSize) == 0)
        client.localPort =
            ntohs(local.ss_family == AF_INET ? reinterpret_cast<sockaddr_in*>(&local)->sin_port
                                             : reinterpret_cast<sockaddr_in6*>(&local)->sin6_port);
    const int yes = 1;
    ::setsockopt(client.socket, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
    const int flags = ::fcntl(client.socket, F_GETFL, 0);
    if (flags == -1 || ::fcntl(client.socket, F_SETFL, flags | O_NONBLOCK) == -1) {
        client.error = std::string("fcntl: ") + std::strerror(errno);
        return false;
    }
    return true;
}

// Sends as many more requests as the window of requests in flight and the phase allow, in one send.
bool sendMore(Client& client)
{
    const uint64_t room = client.sendTimes.size() - client.inFlight;
    const uint64_t count = std::min(room, client.phaseQuota - client.sent);
    if (count == 0) return true;
    const int64_t now = nowNanoseconds();
    for (uint64_t i = 0; i < count; ++i)
        client.sendTimes[(client.head + client.inFlight + i) % client.sendTimes.size()] = now;
    client.inFlight += count;
    client.sent += count;
    if (sendAll(client.socket, client.burst.data(), count * client.lineSize)) return true;
    client.error = std::string("send: ") + std::strerror(errno);
    return false;
}

// Reads what the connection has, counts the reply lines, and sends more; false when the connection
// failed, with the reason in the client.
bool serveReadable(Client& client, char* buffer, size_t bufferSize)
{
    while (client.received < client.phaseQuota) {
        const ssize_t size = ::recv(client.socket, buffer, bufferSize, 0);
        if (size == -1 && errno == EINTR) continue;
        if (size == -1 && (errno == EAGAIN || errno == EWOULDBLOCK)) break;
        if (size < 1) {
            client.error = size == 0 ? "the gateway closed the connection" : std::string("recv: ") + std::strerror(errno);
            return false;
        }
        const int64_t now = nowNanoseconds();
        // A line ends at byte 13; bytes 10 and zero bytes do not count as content, and an empty line
        // is no reply, as the gateway itself cuts lines.
        for (ssize_t i = 0; i < size; ++i) {
            const char byte = buffer[i];
            if (byte == '\r') {
                if (!client.lineHasContent) continue;
                client.lineHasContent = false;
                client.hasFirstReply = true;
                if (client.inFlight == 0) {
                    client.error = "a reply to no request";
                    return false;
                }
                if (client.record) client.latencies.push_back(now - client.sendTimes[client.head]);
                client.head = (client.head + 1) % client.sendTimes.size();
                --client.inFlight;
                ++client.received;
            } else if (byte != '\n' && byte != '\0') {
                client.lineHasContent = true;
                if (!client.hasFirstReply) client.firstReply.push_back(byte);
            }
        }
        if (static_cast<size_t>(size) < bufferSize) break;
    }
    return sendMore(client);
}

// Runs one phase over every connection from one thread: each client sends and receives its quota of
// requests, recording their latencies when record is set. A client that fails, or waits longer than
// the timeout for any reply at all, is left out of the rest of the phase with its reason.
void runPhase(std::vector<Client>& clients, const std::function<uint64_t(const Client&)>& quotaOf, bool record,
              int timeoutMs)
{
    const int poller = ::epoll_create1(EPOLL_CLOEXEC);
    if (poller == -1) {
        for (Client& client : clients)
            client.error = std::string("epoll_create1: ") + std::strerror(errno);
        return;
    }
    size_t running = 0;
    for (size_t c = 0; c < clients.size(); ++c) {
        Client& client = clients[c];
        if (!client.error.empty()) continue;
        client.phaseQuota = quotaOf(client);
        client.sent = 0;
        client.received = 0;
        client.record = record;
        if (client.phaseQuota == 0) continue;
        epoll_event interest{};
        interest.events = EPOLLIN;
        interest.data.u64 = c;
        if (::epoll_ctl(poller, EPOLL_CTL_ADD, client.socket, &interest) == -1) {
            client.error = std::string("epoll_ctl: ") + std::strerror(errno);
            continue;
        }
        if (!sendMore(client)) continue;
        ++running;
    }
    std::vector<char> buffer(65536);
    epoll_event ready[256];
    while (running > 0) {
        const int count = ::epoll_wait(poller, ready, 256, timeoutMs);
        if (count == -1 && errno == EINTR) continue;
        if (count < 1) {
            for (Client& client : clients)
                if (client.error.empty() && client.received < client.phaseQuota)
                    client.error = count == 0 ? "no reply within the timeout"
                                              : std::string("epoll_wait: ") + std::strerror(errno);
            break;
        }
        for (int i = 0; i < count; ++i) {
            Client& client = clients[ready[i].data.u64];
            if (!client.error.empty() || client.received >= client.phaseQuota) continue;
            const bool ok = serveReadable(client, buffer.data(), buffer.size());
            if (!ok || client.received >= client.phaseQuota) {
                ::epoll_ctl(poller, EPOLL_CTL_DEL, client.socket, nullptr);
                --running;
            }
        }
    }
    ::close(poller);
}

std::string requestText(const Options& options, const std::string& hostAddress)
{
    const bool isPing = options.kind == "ping";
    auto message = Qfn::Message::factoryFromSenderDestinationAddressOpCodePayloadStr(
        Qfn::LocalResolvedAddress::factoryFromGUIDs(Qfn::GUIDClass::randomFactory(),
                                                    Qfn::GUIDClass::randomFactory()),
        Qfn::RemoteUnresolvedAddress::factoryFromCoordinatorNameIndicesHostName(
            "net.quillfern.coordinator.main", isPing ? "net.quillfern.service.ping" : "default", hostAddress),
        isPing ? Qfn::OpCode::PING : Qfn::OpCode::EVAL,
        isPing ? "{n: 1}" : "{script: \"1 + 2\", clientSequenceNr: 1}");
    if (!message) return std::string();
    return Qfn::Utils::escapeIPC(Qfn::Data_abstract::serializeToStr(message)) + "\r";
}

// Whether a reply line is the answer the request asks for; says why not otherwise.
bool checkReply(const Options& options, const std::string& escaped, std::string& why)
{
    auto message = std::dynamic_pointer_cast<Qfn::IMessage>(
        Qfn::Data_abstract::deserializeFromStr(Qfn::Utils::unescapeIPC(escaped)));
    if (!message) {
        why = "the reply is no message";
        return false;
    }
    if (options.kind == "ping") {
        if (message->getOpCode() != Qfn::OpCode::PING_REPLY || message->getPayloadStr() != "{n: 1}") {
            why = "not a PING_REPLY with the payload sent";
            return false;
        }
        return true;
    }
    Qfn::OMAccessor answer(message->getAsOMNode());
    if (message->getOpCode() != Qfn::OpCode::EVAL_RESULT || !answer.getBool("success") ||
        answer.getInt("result") != 3) {
        why = "not an EVAL_RESULT of success with result 3";
        return false;
    }
    return true;
}

bool resolve(const std::string& host, int port, sockaddr_storage& address, socklen_t& size,
             std::string& numeric)
{
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    const std::string service = std::to_string(port);
    const int result = ::getaddrinfo(host.c_str(), service.c_str(), &hints, &found);
    if (result != 0 || !found) {
        std::fprintf(stderr, "qfn_gateway_load: %s: %s\n", host.c_str(), gai_strerror(result));
        return false;
    }
    std::memcpy(&address, found->ai_addr, found->ai_addrlen);
    size = found->ai_addrlen;
    char text[INET6_ADDRSTRLEN] = {0};
    const void* binary =
        found->ai_family == AF_INET
            ? static_cast<const void*>(&reinterpret_cast<const sockaddr_in*>(found->ai_addr)->sin_addr)
            : static_cast<const void*>(&reinterpret_cast<const sockaddr_in6*>(found->ai_addr)->sin6_addr);
    numeric = inet_ntop(found->ai_family, binary, text, sizeof text) ? text : host;
    ::freeaddrinfo(found);
    return true;
}

double microseconds(int64_t nanoseconds)
{
    return static_cast<double>(nanoseconds) / 1000.0;
}

// The value at or below which the given share of the sorted latencies lies (nearest rank).
int64_t percentile(std::vector<int64_t>& values, double share)
{
    size_t rank = static_cast<size_t>(share * static_cast<double>(values.size()) + 0.999999);
    rank = std::clamp<size_t>(rank, 1, values.size());
    std::nth_element(values.begin(), values.begin() + static_cast<ptrdiff_t>(rank - 1), values.end());
    return values[rank - 1];
}

}  // namespace

int main(int argc, char** argv)
{
    Options options;
    if (!parseOptions(argc, argv, options)) return 64;
    if (!Qfn::InternalCoordinator::registerObjectClasses()) {
        std::fprintf(stderr, "qfn_gateway_load: object classes not registered\n");
        return 1;
    }
    sockaddr_storage address{};
    socklen_t addressSize = 0;
    std::string hostAddress;
    if (!resolve(options.host, options.port, address, addressSize, hostAddress)) return 1;

    // Every request text is made here, each client a sender of its own.
    std::vector<Client> clients(static_cast<size_t>(options.clients));
    for (size_t c = 0; c < clients.size(); ++c) {
        Client& client = clients[c];
        const std::string line = requestText(options, hostAddress);
        if (line.size() < 2) {
            std::fprintf(stderr, "qfn_gateway_load: the request was not made\n");
            return 1;
        }
        client.lineSize = line.size();
        client.burst.reserve(line.size() * static_cast<size_t>(options.inFlight));
        for (int i = 0; i < options.inFlight; ++i)
            client.burst += line;
        client.quota = options.requests / clients.size() + (c < options.requests % clients.size() ? 1 : 0);
        client.sendTimes.assign(static_cast<size_t>(options.inFlight), 0);
        client.latencies.reserve(client.quota);
        client.firstReply.reserve(1024);
    }

    // Clients connect and warm up, then all start the measure at once.
    for (Client& client : clients)
        connectClient(client, address, addressSize);
    runPhase(clients, [&](const Client&) { return options.warmup; }, false, options.timeoutMilliseconds);
    const int64_t start = nowNanoseconds();
    runPhase(clients, [](const Client& client) { return client.quota; }, true, options.timeoutMilliseconds);
    const int64_t elapsed = nowNanoseconds() - start;
    for (Client& client : clients)
        if (client.socket >= 0) ::shutdown(client.socket, SHUT_RDWR);

    int failed = 0;
    std::vector<int64_t> all;
    all.reserve(options.requests);
    for (size_t c = 0; c < clients.size(); ++c) {
        Client& client = clients[c];
        if (client.socket >= 0) ::close(client.socket);
        if (!client.error.empty()) {
            if (failed < 5)
                std::fprintf(stderr,
                             "qfn_gateway_load: client %zu (local port %d): %s (%zu of %llu answered)\n", c,
                             client.localPort, client.error.c_str(), client.latencies.size(),
                             static_cast<unsigned long long>(client.quota));
            ++failed;
        }
        std::string why;
        if (client.hasFirstReply && !checkReply(options, client.firstReply, why)) {
            std::fprintf(stderr, "qfn_gateway_load: client %zu: %s: %s\n", c, why.c_str(),
                         Qfn::Utils::unescapeIPC(client.firstReply).c_str());
            ++failed;
        }
        all.insert(all.end(), client.latencies.begin(), client.latencies.end());
    }
    if (failed > 0 || all.size() != options.requests) {
        std::fprintf(stderr, "qfn_gateway_load: %d client(s) failed; %zu of %llu requests answered\n", failed,
                     all.size(), static_cast<unsigned long long>(options.requests));
        return 1;
    }

    const double throughput = static_cast<double>(all.size()) / (static_cast<double>(elapsed) / 1e9);
    const int64_t p50 = percentile(all, 0.50);
    const int64_t p99 = percentile(all, 0.99);
    const int64_t max = *std::max_element(all.begin(), all.end());
    if (options.header)
        std::printf("%-5s %7s %9s %9s %12s %10s %10s %10s\n", "kind", "clients", "in-flight", "requests",
                    "requests/s", "p50 us", "p99 us", "max us");
    std::printf("%-5s %7d %9d %9llu %12.0f %10.1f %10.1f %10.1f\n", options.kind.c_str(), options.clients,
                options.inFlight, static_cast<unsigned long long>(options.requests), throughput,
                microseconds(p50), microseconds(p99), microseconds(max));
    return 0;
}
