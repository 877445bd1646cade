#pragma once

namespace Qfn {

// What the storage of a thread needs to know when the thread ends.
class ThreadEnd {
public:
    ThreadEnd() = delete;

    // The process's first thread, whose thread storage lives on into static tear-down.
    static bool isMainThread();
};

}  // namespace Qfn
