#include "QfnUtils/DeepWalk.h"

#include <pthread.h>

#include <string>

#include "QfnLogger/Check.h"

namespace Qfn {

thread_local uint32_t DeepWalk::fDepth = 0;
thread_local bool DeepWalk::fHasGivenUp = false;

namespace {

// What a walk leaves unused at the low end of the stack: room for the error line and the way back.
constexpr uintptr_t kReservedBytes = 256 * 1024;

// The lowest address a walk may reach on this thread: its stack's low end plus the reserve.
uintptr_t lowestFrameAddress()
{
    uintptr_t retVal = 0;
    pthread_attr_t attributes;
    if (pthread_getattr_np(pthread_self(), &attributes) == 0) {
        void* stackLow = nullptr;
        size_t stackSize = 0;
        if (pthread_attr_getstack(&attributes, &stackLow, &stackSize) == 0) {
            uintptr_t reserve = kReservedBytes < stackSize / 4 ? kReservedBytes : stackSize / 4;
            retVal = reinterpret_cast<uintptr_t>(stackLow) + reserve;
        }
        pthread_attr_destroy(&attributes);
    }
    return retVal;
}

}  // namespace

DeepWalk::~DeepWalk()
{
    if (--fDepth == 0) fHasGivenUp = false;
}

bool DeepWalk::canGoOn(const char* what)
{
    thread_local const uintptr_t kLowest = lowestFrameAddress();
    if (fHasGivenUp) return false;
    if (reinterpret_cast<uintptr_t>(__builtin_frame_address(0)) >= kLowest) return true;
    fHasGivenUp = true;
    LOG_ERROR(std::string(what) + ": the value is nested too deep (" + std::to_string(fDepth) + " levels)");
    return false;
}

}  // namespace Qfn
