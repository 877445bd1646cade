#pragma once

#include <functional>
#include <memory>

#include "QfnTask/Task.h"

namespace Qfn {

// Runs one resumable call to its end for a caller that has no task of its own: each slice calls
// it again until it leaves no frame behind.
class CallYieldingTask : public virtual Task {
public:
    using Call = std::function<void(const std::shared_ptr<Task>& task)>;

    static std::shared_ptr<Task> factory(const char* name, Call call);
    // Makes the task, runs it to completion and reports whether it completed.
    static bool run(const char* name, Call call);

    void timeslice() override;

private:
    CallYieldingTask(const char* name, Call call);

    Call fCall;
};

}  // namespace Qfn
