#pragma once

#include <cstdint>

namespace Qfn {

// What is left of the running thread's stack. Deep work (nested resumable calls, walks over
// nested values) asks before it goes one level deeper, so that it fails cleanly instead of
// overflowing. The question costs a thread-local read and a comparison.
class StackRoom {
public:
    StackRoom() = delete;

    // True while the stack has more than the reserve left below the caller's frame.
    [[gnu::always_inline]] static bool isLeft()
    {
        return reinterpret_cast<uintptr_t>(__builtin_frame_address(0)) >= lowest();
    }

private:
    // The lowest address a frame may reach on this thread: its stack's low end plus a reserve for
    // error lines and the way back.
    static uintptr_t lowest()
    {
        thread_local const uintptr_t kLowest = findLowest();
        return kLowest;
    }
    static uintptr_t findLowest();
};

}  // namespace Qfn
