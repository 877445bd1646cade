#pragma once

#include <memory>
#include <string>

#include "QfnParser/Forward.h"
#include "QfnTask/Task.h"

namespace Qfn {

// Calls a script function from outside a running script, such as a callback; the function's
// value is the task's result node.
class CallNodeAsFunctionTask : public virtual Task {
public:
    static std::shared_ptr<Task> factory(const std::shared_ptr<OMStored>& function, bool isMethod,
                                         const std::shared_ptr<IOMNode>& thisNode, const NodeList& arguments,
                                         const std::shared_ptr<OMScope>& scope,
                                         const std::string& callbackName);
    static std::shared_ptr<IOMNode> call(const std::shared_ptr<OMStored>& function, bool isMethod,
                                         const std::shared_ptr<IOMNode>& thisNode, const NodeList& arguments,
                                         const std::shared_ptr<OMScope>& scope,
                                         const std::string& callbackName);

    void timeslice() override;
    const std::string& getCallbackName() const { return fCallbackName; }

protected:
    CallNodeAsFunctionTask(std::shared_ptr<OMStored> function, bool isMethod,
                           std::shared_ptr<IOMNode> thisNode, NodeList arguments,
                           std::shared_ptr<OMScope> scope, std::string callbackName);

    std::shared_ptr<OMStored> fWrapped_this;
    bool fIsMethod;
    std::shared_ptr<IOMNode> fThisNode;
    NodeList fArguments;
    std::shared_ptr<OMScope> fScope;
    std::string fCallbackName;
};

}  // namespace Qfn
