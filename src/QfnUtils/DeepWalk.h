#pragma once

#include <cstdint>

namespace Qfn {

// One level of a recursive walk over a value (printing, comparing, copying, marking). A value can
// be nested deeper than any stack is long: when the thread's stack is nearly spent, the walk gives
// up at that level with one error line naming it, and every level above stops too, so the walk
// fails cleanly instead of overflowing. Cost per level: a counter and an address comparison.
class DeepWalk {
public:
    DeepWalk() { ++fDepth; }
    ~DeepWalk();
    DeepWalk(const DeepWalk&) = delete;
    DeepWalk& operator=(const DeepWalk&) = delete;

    // False when this walk must stop; what names the walk in the error line.
    bool canGoOn(const char* what);
    // Whether the walk under way has given up (for a caller that must tell a failure apart).
    static bool hasGivenUp() { return fHasGivenUp; }

private:
    static thread_local uint32_t fDepth;
    static thread_local bool fHasGivenUp;
};

}  // namespace Qfn
