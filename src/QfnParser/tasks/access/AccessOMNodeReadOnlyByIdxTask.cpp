#include "QfnParser/tasks/access/AccessOMNodeReadOnlyByIdxTask.h"

#include "QfnLogger/Check.h"
#include "QfnParser/query/OMAccessor.h"

namespace Qfn {

AccessOMNodeReadOnlyByIdxTask::AccessOMNodeReadOnlyByIdxTask(std::shared_ptr<OMAccessor> accessor,
                                                             uint64_t idx, std::shared_ptr<IOMNode>& node)
    : Task("AccessOMNodeReadOnlyByIdxTask", -2, nullptr),
      fAccessor(std::move(accessor)),
      fIdx(idx),
      fNode(node)
{
}

std::shared_ptr<Task> AccessOMNodeReadOnlyByIdxTask::factory(const OMAccessor& accessor, uint64_t idx,
                                                             std::shared_ptr<IOMNode>& node)
{
    std::shared_ptr<Task> retVal;
    try {
        do {
            // The task works on a copy of the accessor, which shares the tree.
            std::shared_ptr<Task> task(
                new AccessOMNodeReadOnlyByIdxTask(std::make_shared<OMAccessor>(accessor), idx, node));
            SANITY_CHECK(Task::registerTask(task));
            retVal = task;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool AccessOMNodeReadOnlyByIdxTask::call(const OMAccessor& accessor, uint64_t idx,
                                         std::shared_ptr<IOMNode>& node)
{
    bool retVal = false;
    try {
        do {
            std::shared_ptr<Task> task;
            ASSIGN(task, factory(accessor, idx, node));
            SANITY_CHECK(task->runToCompletion());
            retVal = task->getRetValBool();
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

void AccessOMNodeReadOnlyByIdxTask::timeslice()
{
    try {
        std::shared_ptr<Task> task = shared_from_this();
        fAccessor->accessOMNodeReadOnly_yielding(task, fRetValBool, fIdx, fNode);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

}  // namespace Qfn
