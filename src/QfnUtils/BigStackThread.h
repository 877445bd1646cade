#pragma once

#include <cstddef>
#include <functional>

namespace Qfn {

// Runs a function on a thread whose stack is reserved large and committed only as it is touched,
// and waits for it: deep recursion in scripts then has room without costing memory it does not
// use. When such a thread cannot be made, the function runs on the calling thread.
class BigStackThread {
public:
    BigStackThread() = delete;

    // The stack the coordinator's work runs on.
    static constexpr size_t kDefaultStackBytes = size_t{8} << 30;

    static int run(size_t stackBytes, const std::function<int()>& work);
};

}  // namespace Qfn
