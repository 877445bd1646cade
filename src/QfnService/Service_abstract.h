#pragma once

#include <memory>

#include "QfnObject/Object.h"

namespace Qfn {

class Task;

// The base of every service of the coordinator's tree. The tree itself, its children and message
// handling come with the services; today the coordinator is a service without children.
class Service_abstract : public virtual Object {
public:
    // One round over the child services; resumable. Without children it finishes at once.
    virtual void timeslice_yielding(const std::shared_ptr<Task>& task, bool& retVal);
    virtual bool isIdle() const;
    bool deregisterObject() override;

protected:
    Service_abstract() = default;
};

}  // namespace Qfn
