#include "QfnParser/tasks/access/GetterTask.h"

#include "QfnLogger/Check.h"
#include "QfnParser/query/OMAccessor.h"

namespace Qfn {

GetterTask::GetterTask(std::shared_ptr<OMAccessor> accessor, std::string path, ReferenceType referenceType)
    : Task("GetterTask", -2, nullptr),
      fAccessor(std::move(accessor)),
      fPath(std::move(path)),
      fReferenceType(referenceType)
{
}

std::shared_ptr<Task> GetterTask::factory(const OMAccessor& accessor, const std::string& path,
                                          ReferenceType referenceType)
{
    std::shared_ptr<Task> retVal;
    try {
        do {
            std::shared_ptr<Task> task(
                new GetterTask(std::make_shared<OMAccessor>(accessor), path, referenceType));
            SANITY_CHECK(Task::registerTask(task));
            retVal = task;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<IOMNode> GetterTask::call(const OMAccessor& accessor, const std::string& path,
                                          ReferenceType referenceType)
{
    std::shared_ptr<IOMNode> retVal;
    try {
        do {
            std::shared_ptr<Task> task;
            ASSIGN(task, factory(accessor, path, referenceType));
            std::shared_ptr<GetterTask> getter;
            ASSIGN(getter, std::dynamic_pointer_cast<GetterTask>(task));
            SANITY_CHECK(getter->runToCompletion());
            retVal = getter->fValue;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

void GetterTask::timeslice()
{
    try {
        std::shared_ptr<Task> task = shared_from_this();
        fAccessor->get_yielding(task, fValue, fPath, fReferenceType);
        fRetValBool = fValue != nullptr;
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

}  // namespace Qfn
