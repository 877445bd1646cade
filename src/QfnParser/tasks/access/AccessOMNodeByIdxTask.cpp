#include "QfnParser/tasks/access/AccessOMNodeByIdxTask.h"

#include "QfnLogger/Check.h"
#include "QfnParser/query/OMAccessor.h"

namespace Qfn {

AccessOMNodeByIdxTask::AccessOMNodeByIdxTask(std::shared_ptr<OMAccessor> accessor, AccessType accessType,
                                             uint64_t idx, std::shared_ptr<IOMNode>& node)
    : Task("AccessOMNodeByIdxTask", -2, nullptr),
      fAccessor(std::move(accessor)),
      fAccessType(accessType),
      fIdx(idx),
      fNode(node)
{
}

std::shared_ptr<Task> AccessOMNodeByIdxTask::factory(const OMAccessor& accessor, AccessType accessType,
                                                     uint64_t idx, std::shared_ptr<IOMNode>& node)
{
    std::shared_ptr<Task> retVal;
    try {
        do {
            // The task works on a copy of the accessor, which shares the tree.
            std::shared_ptr<Task> task(
                new AccessOMNodeByIdxTask(std::make_shared<OMAccessor>(accessor), accessType, idx, node));
            SANITY_CHECK(Task::registerTask(task));
            retVal = task;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool AccessOMNodeByIdxTask::call(const OMAccessor& accessor, AccessType accessType, uint64_t idx,
                                 std::shared_ptr<IOMNode>& node)
{
    bool retVal = false;
    try {
        do {
            std::shared_ptr<Task> task;
            ASSIGN(task, factory(accessor, accessType, idx, node));
            SANITY_CHECK(task->runToCompletion());
            retVal = task->getRetValBool();
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

void AccessOMNodeByIdxTask::timeslice()
{
    try {
        std::shared_ptr<Task> task = shared_from_this();
        fAccessor->accessOMNode_yielding(task, fRetValBool, fAccessType, fIdx, fNode);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

}  // namespace Qfn
