#pragma once

#include <cstdint>

namespace Qfn {

// The waits of the write side, in microseconds, as the coordinator's configuration sets them.
struct PipeTimes {
    // Between two attempts to connect to a read pipe.
    int64_t sleepWaitForPipeMicroseconds = 1000000;
    // Between two attempts to send a packet the socket did not take.
    int64_t sleepStalledPipeMicroseconds = 1000;
    // How long a packet may stay unsent before the pipe is given up.
    int64_t killStalledPipeMicroseconds = 5000000;

    static PipeTimes& current()
    {
        static PipeTimes times;
        return times;
    }
};

}  // namespace Qfn
