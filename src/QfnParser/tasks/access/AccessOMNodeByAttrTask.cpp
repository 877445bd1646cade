#include "QfnParser/tasks/access/AccessOMNodeByAttrTask.h"

#include "QfnLogger/Check.h"
#include "QfnParser/query/OMAccessor.h"

namespace Qfn {

AccessOMNodeByAttrTask::AccessOMNodeByAttrTask(std::shared_ptr<OMAccessor> accessor, AccessType accessType,
                                               const std::string& attr, std::shared_ptr<IOMNode>& node)
    : Task("AccessOMNodeByAttrTask", -2, nullptr),
      fAccessor(std::move(accessor)),
      fAccessType(accessType),
      fAttr(attr),
      fNode(node)
{
}

std::shared_ptr<Task> AccessOMNodeByAttrTask::factory(const OMAccessor& accessor, AccessType accessType,
                                                      const std::string& attr, std::shared_ptr<IOMNode>& node)
{
    std::shared_ptr<Task> retVal;
    try {
        do {
            // The task works on a copy of the accessor, which shares the tree.
            std::shared_ptr<Task> task(
                new AccessOMNodeByAttrTask(std::make_shared<OMAccessor>(accessor), accessType, attr, node));
            SANITY_CHECK(Task::registerTask(task));
            retVal = task;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool AccessOMNodeByAttrTask::call(const OMAccessor& accessor, AccessType accessType, const std::string& attr,
                                  std::shared_ptr<IOMNode>& node)
{
    bool retVal = false;
    try {
        do {
            std::shared_ptr<Task> task;
            ASSIGN(task, factory(accessor, accessType, attr, node));
            SANITY_CHECK(task->runToCompletion());
            retVal = task->getRetValBool();
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

void AccessOMNodeByAttrTask::timeslice()
{
    try {
        std::shared_ptr<Task> task = shared_from_this();
        fAccessor->accessOMNode_yielding(task, fRetValBool, fAccessType, fAttr, fNode);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

}  // namespace Qfn
