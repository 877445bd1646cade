#include "QfnUtils/StackRoom.h"

#include <pthread.h>

#include <cstddef>

namespace Qfn {

namespace {
constexpr uintptr_t kReservedBytes = 256 * 1024;
}  // namespace

uintptr_t StackRoom::findLowest()
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

}  // namespace Qfn
