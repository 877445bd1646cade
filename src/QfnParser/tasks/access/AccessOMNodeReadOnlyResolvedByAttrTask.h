#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "QfnParser/Forward.h"
#include "QfnParser/model/AccessType.h"
#include "QfnTask/Task.h"

namespace Qfn {

// Reads a member or element of a node, never creating it; the task's result says whether it
// was found, and outNode is what was found.
class AccessOMNodeReadOnlyResolvedByAttrTask : public virtual Task {
public:
    static std::shared_ptr<Task> factory(const std::shared_ptr<IOMNode>& node,
                                         const std::shared_ptr<OMScope>& scope, const NodeList& arguments,
                                         const std::string& attr, std::shared_ptr<IOMNode>& outNode);
    static bool call(const std::shared_ptr<IOMNode>& node, const std::shared_ptr<OMScope>& scope,
                     const NodeList& arguments, const std::string& attr, std::shared_ptr<IOMNode>& outNode);

    void timeslice() override;

private:
    AccessOMNodeReadOnlyResolvedByAttrTask(const std::shared_ptr<IOMNode>& node,
                                           const std::shared_ptr<OMScope>& scope, const NodeList& arguments,
                                           const std::string& attr, std::shared_ptr<IOMNode>& outNode);

    std::shared_ptr<IOMNode> fNode;
    std::shared_ptr<OMScope> fScope;
    NodeList fArguments;
    std::string fAttr;
    // The caller's node: it outlives the task in call().
    std::shared_ptr<IOMNode>& fOutNode;
};

}  // namespace Qfn
