#include "QfnParser/tasks/access/AccessOMNodeResolvedByIdxTask.h"

#include "QfnLogger/Check.h"
#include "QfnParser/model/IOMNode.h"
#include "QfnParser/model/OMScope.h"

namespace Qfn {

AccessOMNodeResolvedByIdxTask::AccessOMNodeResolvedByIdxTask(const std::shared_ptr<IOMNode>& node,
                                                             const std::shared_ptr<OMScope>& scope,
                                                             const NodeList& arguments, AccessType accessType,
                                                             uint64_t idx, std::shared_ptr<IOMNode>& outNode)
    : Task("AccessOMNodeResolvedByIdxTask", -2, nullptr),
      fNode(node),
      fScope(scope),
      fArguments(arguments),
      fAccessType(accessType),
      fIdx(idx),
      fOutNode(outNode)
{
}

std::shared_ptr<Task> AccessOMNodeResolvedByIdxTask::factory(const std::shared_ptr<IOMNode>& node,
                                                             const std::shared_ptr<OMScope>& scope,
                                                             const NodeList& arguments, AccessType accessType,
                                                             uint64_t idx, std::shared_ptr<IOMNode>& outNode)
{
    std::shared_ptr<Task> retVal;
    try {
        do {
            SANITY_CHECK(node);
            std::shared_ptr<Task> task(
                new AccessOMNodeResolvedByIdxTask(node, scope, arguments, accessType, idx, outNode));
            SANITY_CHECK(Task::registerTask(task));
            retVal = task;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool AccessOMNodeResolvedByIdxTask::call(const std::shared_ptr<IOMNode>& node,
                                         const std::shared_ptr<OMScope>& scope, const NodeList& arguments,
                                         AccessType accessType, uint64_t idx,
                                         std::shared_ptr<IOMNode>& outNode)
{
    bool retVal = false;
    try {
        do {
            std::shared_ptr<Task> task;
            ASSIGN(task, factory(node, scope, arguments, accessType, idx, outNode));
            SANITY_CHECK(task->runToCompletion());
            retVal = task->getRetValBool();
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

void AccessOMNodeResolvedByIdxTask::timeslice()
{
    try {
        std::shared_ptr<Task> task = shared_from_this();
        fNode->accessOMNodeResolved_yielding(task, fRetValBool, fScope, fArguments, fAccessType, fIdx,
                                             fOutNode);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

}  // namespace Qfn
