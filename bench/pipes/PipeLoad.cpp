// Round trips between coordinators of one host, beside the raw channel they are built on.
//
//   qfn_pipe_load --data DIR [-n N] [-s BYTES] [-P K]   this program as a coordinator of the host whose
//       XDG_DATA_HOME is DIR sends PINGs of BYTES payload to main's ping service through main's named
//       pipe and reads the answers from a pipe of its own; K requests in flight.
//   qfn_pipe_load --raw [-n N] [-s BYTES]                two processes ping-pong one packet of BYTES over
//       a SOCK_SEQPACKET socket pair: the floor under any pipe round trip.
//
// Prints one row: mode, payload bytes, requests in flight, requests, requests/s, p50/p99/max in us.
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "QfnAddress/LocalResolvedAddress.h"
#include "QfnAddress/LocalUnresolvedAddress.h"
#include "QfnCoordinator/InternalCoordinator.h"
#include "QfnData/Data_abstract.h"
#include "QfnMessage/IMessage.h"
#include "QfnMessage/Message.h"
#include "QfnMessage/OpCode.h"
#include "QfnObject/GUIDClass.h"
#include "QfnUtils/Pipes.h"

namespace {

const std::string kMain = "net.quillfern.coordinator.main";
const std::string kSelf = "net.quillfern.coordinator.pipeload";

struct Options {
    std::string data;
    bool raw = false;
    uint64_t requests = 10000;
    size_t size = 16;
    uint64_t inFlight = 1;
    int timeoutMs = 10000;
};

int64_t nowNanoseconds()
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

int64_t percentile(std::vector<int64_t>& values, double share)
{
    size_t rank = static_cast<size_t>(share * static_cast<double>(values.size()) + 0.999999);
    rank = std::clamp<size_t>(rank, 1, values.size());
    std::nth_element(values.begin(), values.begin() + static_cast<ptrdiff_t>(rank - 1), values.end());
    return values[rank - 1];
}

void printRow(const char* mode, const Options& options, int64_t elapsed, std::vector<int64_t>& latencies)
{
    const int64_t max = *std::max_element(latencies.begin(), latencies.end());
    const int64_t p99 = percentile(latencies, 0.99);
    const int64_t p50 = percentile(latencies, 0.50);
    std::printf("%-6s %8zu %9llu %9zu %12.0f %10.1f %10.1f %10.1f\n", mode, options.size,
                static_cast<unsigned long long>(options.inFlight), latencies.size(),
                static_cast<double>(latencies.size()) / (static_cast<double>(elapsed) / 1e9), p50 / 1000.0,
                p99 / 1000.0, max / 1000.0);
}

bool parseOptions(int argc, char** argv, Options& options)
{
    for (int i = 1; i < argc; ++i) {
        const std::string name = argv[i];
        if (name == "--raw") {
            options.raw = true;
            continue;
        }
        if (i + 1 >= argc) return false;
        const char* value = argv[++i];
        if (name == "--data")
            options.data = value;
        else if (name == "-n")
            options.requests = std::strtoull(value, nullptr, 10);
        else if (name == "-s")
            options.size = std::strtoull(value, nullptr, 10);
        else if (name == "-P")
            options.inFlight = std::strtoull(value, nullptr, 10);
        else
            return false;
    }
    return options.requests > 0 && options.inFlight > 0 && options.size <= 4000 &&
           (options.raw || !options.data.empty());
}

// The floor: one packet each way between two processes over a socket pair.
int runRaw(const Options& options)
{
    int sockets[2];
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET, 0, sockets) != 0) {
        std::perror("socketpair");
        return 1;
    }
    const pid_t child = ::fork();
    if (child == 0) {
        ::close(sockets[0]);
        char packet[4096];
        while (true) {
            const ssize_t size = ::recv(sockets[1], packet, sizeof packet, 0);
            if (size <= 0 || ::send(sockets[1], packet, static_cast<size_t>(size), 0) != size) _exit(0);
        }
    }
    ::close(sockets[1]);
    std::vector<char> packet(std::max<size_t>(options.size, 1), 'x');
    char answer[4096];
    std::vector<int64_t> latencies;
    latencies.reserve(options.requests);
    const int64_t start = nowNanoseconds();
    for (uint64_t i = 0; i < options.requests; ++i) {
        const int64_t sent = nowNanoseconds();
        if (::send(sockets[0], packet.data(), packet.size(), 0) < 0 || ::recv(sockets[0], answer, sizeof answer, 0) <= 0)
            break;
        latencies.push_back(nowNanoseconds() - sent);
    }
    const int64_t elapsed = nowNanoseconds() - start;
    ::close(sockets[0]);
    ::waitpid(child, nullptr, 0);
    if (latencies.size() != options.requests) return 1;
    printRow("raw", options, elapsed, latencies);
    return 0;
}

unsigned long publishedPid(const std::string& sessionFolder, const std::string& name)
{
    std::ifstream file(sessionFolder + name + ".pid");
    unsigned long pid = 0;
    return (file >> pid) ? pid : 0;
}

// Through the coordinators' own pipes: this program is one more coordinator of the host.
int runPipes(const Options& options)
{
    const std::string pipeFolder = options.data + "/net.quillfern/NamedPipes/";
    const std::string sessionFolder = options.data + "/net.quillfern/SessionData/";
    std::filesystem::create_directories(sessionFolder);
    std::ofstream(sessionFolder + kSelf + ".pid") << ::getpid();
    const int readHandle = Qfn::Pipes::openReadNamedPipe(pipeFolder + kSelf);
    const int writeHandle =
        Qfn::Pipes::openWriteNamedPipe(pipeFolder + kMain, publishedPid(sessionFolder, kMain), kMain);
    int status = 1;
    do {
        if (readHandle == 0 || writeHandle == 0) {
            std::fprintf(stderr, "qfn_pipe_load: the pipes did not open\n");
            break;
        }
        auto message = Qfn::Message::factoryFromSenderDestinationAddressOpCodePayloadStr(
            Qfn::LocalResolvedAddress::factoryFromGUIDs(Qfn::GUIDClass::randomFactory(),
                                                        Qfn::GUIDClass::randomFactory()),
            Qfn::LocalUnresolvedAddress::factoryFromCoordinatorNameIndices(kMain, "net.quillfern.service.ping"),
            Qfn::OpCode::PING, "{p: \"" + std::string(options.size, 'x') + "\"}");
        const std::string request = Qfn::Data_abstract::serializeToStr(message);
        std::vector<int64_t> sendTimes;
        std::vector<int64_t> latencies;
        latencies.reserve(options.requests);
        uint64_t sent = 0;
        size_t head = 0;
        std::string answer;
        bool isComplete = false;
        const int64_t start = nowNanoseconds();
        int64_t lastProgress = start;
        bool failed = false;
        while (latencies.size() < options.requests && !failed) {
            while (sent < options.requests && sent - latencies.size() < options.inFlight) {
                sendTimes.push_back(nowNanoseconds());
                failed = !Qfn::Pipes::writeToNamedPipe(writeHandle, request);
                ++sent;
            }
            Qfn::Pipes::timeslice();
            while (Qfn::Pipes::readFromNamedPipe(answer, readHandle, isComplete, 10) && isComplete) {
                const int64_t now = nowNanoseconds();
                latencies.push_back(now - sendTimes[head++]);
                lastProgress = now;
            }
            if (nowNanoseconds() - lastProgress > options.timeoutMs * 1000000LL) {
                std::fprintf(stderr, "qfn_pipe_load: no answer within %d ms (%zu of %llu answered)\n",
                             options.timeoutMs, latencies.size(), static_cast<unsigned long long>(options.requests));
                failed = true;
            }
        }
        if (failed) break;
        printRow("pipes", options, nowNanoseconds() - start, latencies);
        status = 0;
    } while (false);
    Qfn::Pipes::closeAll();
    std::filesystem::remove(sessionFolder + kSelf + ".pid");
    return status;
}

}  // namespace

int main(int argc, char** argv)
{
    Options options;
    if (!parseOptions(argc, argv, options)) {
        std::fprintf(stderr, "usage: qfn_pipe_load (--data DIR | --raw) [-n N] [-s BYTES] [-P K]\n");
        return 64;
    }
    if (options.raw) return runRaw(options);
    if (!Qfn::InternalCoordinator::registerObjectClasses()) return 1;
    return runPipes(options);
}
