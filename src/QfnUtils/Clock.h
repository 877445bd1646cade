#pragma once

#include <chrono>
#include <cstdint>

namespace Qfn::Clock {

// Nanoseconds of the monotonic clock; cheap enough to read after every state of a task.
inline int64_t nowNanoseconds()
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

}  // namespace Qfn::Clock
