#include "QfnParser/tasks/script/EvalTask.h"

#include "QfnLogger/Check.h"
#include "QfnParser/model/OMScope.h"
#include "QfnParser/model/OMStored.h"

namespace Qfn {

EvalTask::EvalTask(std::shared_ptr<OMStored> stored, std::shared_ptr<OMScope> scope,
                   HandleReturnValue handleReturnValue)
    : Task("EvalTask", -2, nullptr),
      fStored(std::move(stored)),
      fScope(std::move(scope)),
      fHandleReturnValue(handleReturnValue)
{
}

std::shared_ptr<Task> EvalTask::factory(const std::shared_ptr<OMStored>& stored,
                                        const std::shared_ptr<OMScope>& scope,
                                        HandleReturnValue handleReturnValue)
{
    std::shared_ptr<Task> retVal;
    try {
        do {
            SANITY_CHECK(stored);
            SANITY_CHECK(scope);
            std::shared_ptr<Task> task(new EvalTask(stored, scope, handleReturnValue));
            SANITY_CHECK(Task::registerTask(task));
            retVal = task;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<IOMNode> EvalTask::call(const std::shared_ptr<OMStored>& stored,
                                        const std::shared_ptr<OMScope>& scope,
                                        HandleReturnValue handleReturnValue)
{
    std::shared_ptr<IOMNode> retVal;
    try {
        do {
            std::shared_ptr<Task> task;
            ASSIGN(task, factory(stored, scope, handleReturnValue));
            std::shared_ptr<EvalTask> evalTask;
            ASSIGN(evalTask, std::dynamic_pointer_cast<EvalTask>(task));
            SANITY_CHECK(evalTask->runToCompletion());
            retVal = evalTask->fRetValNode;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

void EvalTask::timeslice()
{
    try {
        std::shared_ptr<Task> task = shared_from_this();
        fStored->eval_yielding(task, fRetValNode, fScope, fHandleReturnValue);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

}  // namespace Qfn
