#include "QfnParser/tasks/access/AccessOMNodeTask.h"

#include "QfnLogger/Check.h"
#include "QfnParser/query/OMAccessor.h"

namespace Qfn {

AccessOMNodeTask::AccessOMNodeTask(std::shared_ptr<OMAccessor> accessor, AccessType accessType,
                                   const std::string& path, std::shared_ptr<IOMNode>& node,
                                   ReferenceType referenceType)
    : Task("AccessOMNodeTask", -2, nullptr),
      fAccessor(std::move(accessor)),
      fAccessType(accessType),
      fPath(path),
      fNode(node),
      fReferenceType(referenceType)
{
}

std::shared_ptr<Task> AccessOMNodeTask::factory(const OMAccessor& accessor, AccessType accessType,
                                                const std::string& path, std::shared_ptr<IOMNode>& node,
                                                ReferenceType referenceType)
{
    std::shared_ptr<Task> retVal;
    try {
        do {
            // The task works on a copy of the accessor, which shares the tree.
            std::shared_ptr<Task> task(new AccessOMNodeTask(std::make_shared<OMAccessor>(accessor),
                                                            accessType, path, node, referenceType));
            SANITY_CHECK(Task::registerTask(task));
            retVal = task;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool AccessOMNodeTask::call(const OMAccessor& accessor, AccessType accessType, const std::string& path,
                            std::shared_ptr<IOMNode>& node, ReferenceType referenceType)
{
    bool retVal = false;
    try {
        do {
            std::shared_ptr<Task> task;
            ASSIGN(task, factory(accessor, accessType, path, node, referenceType));
            SANITY_CHECK(task->runToCompletion());
            retVal = task->getRetValBool();
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

void AccessOMNodeTask::timeslice()
{
    try {
        std::shared_ptr<Task> task = shared_from_this();
        fAccessor->accessOMNode_yielding(task, fRetValBool, fAccessType, fPath, fNode, fReferenceType);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

}  // namespace Qfn
