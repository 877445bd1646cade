#pragma once

#include <memory>
#include <string>

#include "QfnParser/Forward.h"
#include "QfnParser/model/AccessType.h"
#include "QfnTask/Task.h"

namespace Qfn {

// Evaluates a stored value against a scope; the value is the task's result node.
class EvalTask : public virtual Task {
public:
    static std::shared_ptr<Task> factory(const std::shared_ptr<OMStored>& stored,
                                         const std::shared_ptr<OMScope>& scope,
                                         HandleReturnValue handleReturnValue);
    // Runs to completion, serving the other tasks meanwhile; null when it failed.
    static std::shared_ptr<IOMNode> call(const std::shared_ptr<OMStored>& stored,
                                         const std::shared_ptr<OMScope>& scope,
                                         HandleReturnValue handleReturnValue);

    void timeslice() override;
    // The value itself: null when evaluation gave none.
    const std::shared_ptr<IOMNode>& getValue() const { return fRetValNode; }

protected:
    // A subclass names the task after itself (Task is a virtual base: the most derived class makes it).
    EvalTask(std::shared_ptr<OMStored> stored, std::shared_ptr<OMScope> scope,
             HandleReturnValue handleReturnValue);

    // The value evaluated; a subclass may fill it (parse into it) before evaluation starts.
    std::shared_ptr<OMStored> fStored;

private:
    std::shared_ptr<OMScope> fScope;
    HandleReturnValue fHandleReturnValue;
};

}  // namespace Qfn
