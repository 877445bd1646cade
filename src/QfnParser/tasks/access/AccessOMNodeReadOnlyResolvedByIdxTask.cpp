#include "QfnParser/tasks/access/AccessOMNodeReadOnlyResolvedByIdxTask.h"

#include "QfnLogger/Check.h"
#include "QfnParser/model/IOMNode.h"
#include "QfnParser/model/OMScope.h"

namespace Qfn {

AccessOMNodeReadOnlyResolvedByIdxTask::AccessOMNodeReadOnlyResolvedByIdxTask(
    const std::shared_ptr<IOMNode>& node, const std::shared_ptr<OMScope>& scope, const NodeList& arguments,
    uint64_t idx, std::shared_ptr<IOMNode>& outNode)
    : Task("AccessOMNodeReadOnlyResolvedByIdxTask", -2, nullptr),
      fNode(node),
      fScope(scope),
      fArguments(arguments),
      fIdx(idx),
      fOutNode(outNode)
{
}

std::shared_ptr<Task> AccessOMNodeReadOnlyResolvedByIdxTask::factory(const std::shared_ptr<IOMNode>& node,
                                                                     const std::shared_ptr<OMScope>& scope,
                                                                     const NodeList& arguments, uint64_t idx,
                                                                     std::shared_ptr<IOMNode>& outNode)
{
    std::shared_ptr<Task> retVal;
    try {
        do {
            SANITY_CHECK(node);
            std::shared_ptr<Task> task(
                new AccessOMNodeReadOnlyResolvedByIdxTask(node, scope, arguments, idx, outNode));
            SANITY_CHECK(Task::registerTask(task));
            retVal = task;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool AccessOMNodeReadOnlyResolvedByIdxTask::call(const std::shared_ptr<IOMNode>& node,
                                                 const std::shared_ptr<OMScope>& scope,
                                                 const NodeList& arguments, uint64_t idx,
                                                 std::shared_ptr<IOMNode>& outNode)
{
    bool retVal = false;
    try {
        do {
            std::shared_ptr<Task> task;
            ASSIGN(task, factory(node, scope, arguments, idx, outNode));
            SANITY_CHECK(task->runToCompletion());
            retVal = task->getRetValBool();
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

void AccessOMNodeReadOnlyResolvedByIdxTask::timeslice()
{
    try {
        std::shared_ptr<Task> task = shared_from_this();
        fNode->accessOMNodeReadOnlyResolved_yielding(task, fRetValBool, fScope, fArguments, fIdx, fOutNode);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

}  // namespace Qfn
