#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "QfnParser/Forward.h"
#include "QfnParser/model/AccessType.h"
#include "QfnTask/Task.h"

namespace Qfn {

// Reaches a member or element of a node with the access type given (read, read creating, or
// store outNode); the task's result says whether it worked, and outNode is the node reached.
class AccessOMNodeResolvedByAttrTask : public virtual Task {
public:
    static std::shared_ptr<Task> factory(const std::shared_ptr<IOMNode>& node,
                                         const std::shared_ptr<OMScope>& scope, const NodeList& arguments,
                                         AccessType accessType, const std::string& attr,
                                         std::shared_ptr<IOMNode>& outNode);
    static bool call(const std::shared_ptr<IOMNode>& node, const std::shared_ptr<OMScope>& scope,
                     const NodeList& arguments, AccessType accessType, const std::string& attr,
                     std::shared_ptr<IOMNode>& outNode);

    void timeslice() override;

private:
    AccessOMNodeResolvedByAttrTask(const std::shared_ptr<IOMNode>& node,
                                   const std::shared_ptr<OMScope>& scope, const NodeList& arguments,
                                   AccessType accessType, const std::string& attr,
                                   std::shared_ptr<IOMNode>& outNode);

    std::shared_ptr<IOMNode> fNode;
    std::shared_ptr<OMScope> fScope;
    NodeList fArguments;
    AccessType fAccessType;
    std::string fAttr;
    // The caller's node: it outlives the task in call().
    std::shared_ptr<IOMNode>& fOutNode;
};

}  // namespace Qfn
