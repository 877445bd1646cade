// A writer process for the pipe tests: sends its strings (PipeTraffic) into a read pipe through a
// write pipe, a few queued at a time, and ends with status 0 once all have gone out.
// Arguments: marker path, writer number, number of strings, process ID of the reader.
#include <sched.h>

#include <chrono>
#include <cstdlib>
#include <string>

#include "QfnLogger/Log.h"
#include "QfnUtils/Pipes.h"
#include "QfnUtils/pipes/PipeTraffic.h"

using Qfn::Pipes;

namespace {

constexpr int kStringsQueuedAtOnce = 4;
// A writer never outlives a test that stopped reading.
constexpr std::chrono::seconds kDeadline{60};

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 5) return 2;
    Qfn::Log::setLogLevel(1);
    const std::string markerPath = argv[1];
    const uint64_t writer = std::strtoull(argv[2], nullptr, 10);
    const uint64_t count = std::strtoull(argv[3], nullptr, 10);
    const unsigned long readerProcessID = std::strtoul(argv[4], nullptr, 10);

    const int handle = Pipes::openWriteNamedPipe(markerPath, readerProcessID, "");
    if (handle == 0) return 3;
    const auto deadline = std::chrono::steady_clock::now() + kDeadline;
    uint64_t next = 0;
    while (true) {
        const Pipes::WriteStatus status = Pipes::getWritePipeStatus(handle);
        if (status != Pipes::WriteStatus::Open && status != Pipes::WriteStatus::Empty) return 4;
        if (status == Pipes::WriteStatus::Empty) {
            if (next == count) break;
            for (int queued = 0; queued < kStringsQueuedAtOnce && next < count; ++queued)
                Pipes::writeToNamedPipe(handle, QfnTest::PipeTraffic::makeString(writer, next++));
        }
        Pipes::timeslice();
        if (std::chrono::steady_clock::now() > deadline) return 5;
        // Three writers and the reader share two cores.
        sched_yield();
    }
    return Pipes::closeNamedPipe(handle) ? 0 : 6;
}
