#include "QfnParser/tasks/access/SetterTask.h"

#include "QfnLogger/Check.h"
#include "QfnParser/query/OMAccessor.h"

namespace Qfn {

SetterTask::SetterTask(std::shared_ptr<OMAccessor> accessor, std::string path, std::shared_ptr<IOMNode>& node)
    : Task("SetterTask", -2, nullptr), fAccessor(std::move(accessor)), fPath(std::move(path)), fNode(node)
{
}

std::shared_ptr<Task> SetterTask::factory(const OMAccessor& accessor, const std::string& path,
                                          std::shared_ptr<IOMNode>& node)
{
    std::shared_ptr<Task> retVal;
    try {
        do {
            std::shared_ptr<Task> task(new SetterTask(std::make_shared<OMAccessor>(accessor), path, node));
            SANITY_CHECK(Task::registerTask(task));
            retVal = task;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool SetterTask::call(const OMAccessor& accessor, const std::string& path, std::shared_ptr<IOMNode>& node)
{
    bool retVal = false;
    try {
        do {
            std::shared_ptr<Task> setter;
            ASSIGN(setter, factory(accessor, path, node));
            SANITY_CHECK(setter->runToCompletion());
            retVal = setter->getRetValBool();
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

void SetterTask::timeslice()
{
    try {
        std::shared_ptr<Task> task = shared_from_this();
        fAccessor->set_yielding(task, fRetValBool, fPath, fNode);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

}  // namespace Qfn
