#pragma once

#include <memory>

namespace Qfn {

class Task;

// Something that does its work in resumable slices of a task: a service, the coordinator.
class ITimeConsumer {
public:
    virtual ~ITimeConsumer() = default;
    virtual void timeslice_yielding(const std::shared_ptr<Task>& task, bool& completed) = 0;
    virtual bool isIdle() const = 0;
};

}  // namespace Qfn
