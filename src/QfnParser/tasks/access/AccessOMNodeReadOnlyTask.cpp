#include "QfnParser/tasks/access/AccessOMNodeReadOnlyTask.h"

#include "QfnLogger/Check.h"
#include "QfnParser/query/OMAccessor.h"

namespace Qfn {

AccessOMNodeReadOnlyTask::AccessOMNodeReadOnlyTask(std::shared_ptr<OMAccessor> accessor,
                                                   const std::string& path, std::shared_ptr<IOMNode>& node,
                                                   ReferenceType referenceType)
    : Task("AccessOMNodeReadOnlyTask", -2, nullptr),
      fAccessor(std::move(accessor)),
      fPath(path),
      fNode(node),
      fReferenceType(referenceType)
{
}

std::shared_ptr<Task> AccessOMNodeReadOnlyTask::factory(const OMAccessor& accessor, const std::string& path,
                                                        std::shared_ptr<IOMNode>& node,
                                                        ReferenceType referenceType)
{
    std::shared_ptr<Task> retVal;
    try {
        do {
            // The task works on a copy of the accessor, which shares the tree.
            std::shared_ptr<Task> task(new AccessOMNodeReadOnlyTask(std::make_shared<OMAccessor>(accessor),
                                                                    path, node, referenceType));
            SANITY_CHECK(Task::registerTask(task));
            retVal = task;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool AccessOMNodeReadOnlyTask::call(const OMAccessor& accessor, const std::string& path,
                                    std::shared_ptr<IOMNode>& node, ReferenceType referenceType)
{
    bool retVal = false;
    try {
        do {
            std::shared_ptr<Task> task;
            ASSIGN(task, factory(accessor, path, node, referenceType));
            SANITY_CHECK(task->runToCompletion());
            retVal = task->getRetValBool();
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

void AccessOMNodeReadOnlyTask::timeslice()
{
    try {
        std::shared_ptr<Task> task = shared_from_this();
        fAccessor->accessOMNodeReadOnly_yielding(task, fRetValBool, fPath, fNode, fReferenceType);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

}  // namespace Qfn
