#include "QfnParser/tasks/access/AccessOMNodeReadOnlyByAttrTask.h"

#include "QfnLogger/Check.h"
#include "QfnParser/query/OMAccessor.h"

namespace Qfn {

AccessOMNodeReadOnlyByAttrTask::AccessOMNodeReadOnlyByAttrTask(std::shared_ptr<OMAccessor> accessor,
                                                               const std::string& attr,
                                                               std::shared_ptr<IOMNode>& node)
    : Task("AccessOMNodeReadOnlyByAttrTask", -2, nullptr),
      fAccessor(std::move(accessor)),
      fAttr(attr),
      fNode(node)
{
}

std::shared_ptr<Task> AccessOMNodeReadOnlyByAttrTask::factory(const OMAccessor& accessor,
                                                              const std::string& attr,
                                                              std::shared_ptr<IOMNode>& node)
{
    std::shared_ptr<Task> retVal;
    try {
        do {
            // The task works on a copy of the accessor, which shares the tree.
            std::shared_ptr<Task> task(
                new AccessOMNodeReadOnlyByAttrTask(std::make_shared<OMAccessor>(accessor), attr, node));
            SANITY_CHECK(Task::registerTask(task));
            retVal = task;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool AccessOMNodeReadOnlyByAttrTask::call(const OMAccessor& accessor, const std::string& attr,
                                          std::shared_ptr<IOMNode>& node)
{
    bool retVal = false;
    try {
        do {
            std::shared_ptr<Task> task;
            ASSIGN(task, factory(accessor, attr, node));
            SANITY_CHECK(task->runToCompletion());
            retVal = task->getRetValBool();
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

void AccessOMNodeReadOnlyByAttrTask::timeslice()
{
    try {
        std::shared_ptr<Task> task = shared_from_this();
        fAccessor->accessOMNodeReadOnly_yielding(task, fRetValBool, fAttr, fNode);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

}  // namespace Qfn
