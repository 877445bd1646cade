#include "QfnParser/tasks/script/EvalScriptTask.h"

#include "QfnLogger/Check.h"
#include "QfnParser/model/OMScope.h"
#include "QfnParser/model/OMStored.h"

namespace Qfn {

EvalScriptTask::EvalScriptTask(std::shared_ptr<OMStored> stored, std::shared_ptr<OMScope> scope,
                               std::string scriptFilePath, HandleReturnValue handleReturnValue)
    : Task("EvalScriptTask", -2, nullptr),
      fStored(std::move(stored)),
      fScope(std::move(scope)),
      fScriptFilePath(std::move(scriptFilePath)),
      fHandleReturnValue(handleReturnValue)
{
}

std::shared_ptr<Task> EvalScriptTask::factory(const std::shared_ptr<OMStored>& stored,
                                              const std::shared_ptr<OMScope>& scope,
                                              const std::string& scriptFilePath,
                                              HandleReturnValue handleReturnValue)
{
    std::shared_ptr<Task> retVal;
    try {
        do {
            SANITY_CHECK(stored);
            SANITY_CHECK(scope);
            std::shared_ptr<Task> task(new EvalScriptTask(stored, scope, scriptFilePath, handleReturnValue));
            SANITY_CHECK(Task::registerTask(task));
            retVal = task;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<IOMNode> EvalScriptTask::call(const std::shared_ptr<OMStored>& stored,
                                              const std::shared_ptr<OMScope>& scope,
                                              const std::string& scriptFilePath,
                                              HandleReturnValue handleReturnValue)
{
    std::shared_ptr<IOMNode> retVal;
    try {
        do {
            std::shared_ptr<Task> task;
            ASSIGN(task, factory(stored, scope, scriptFilePath, handleReturnValue));
            std::shared_ptr<EvalScriptTask> evalScriptTask;
            ASSIGN(evalScriptTask, std::dynamic_pointer_cast<EvalScriptTask>(task));
            SANITY_CHECK(evalScriptTask->runToCompletion());
            retVal = evalScriptTask->fRetValNode;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

void EvalScriptTask::timeslice()
{
    try {
        std::shared_ptr<Task> task = shared_from_this();
        fStored->evalScript_yielding(task, fRetValNode, fScope, fScriptFilePath, fHandleReturnValue);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

}  // namespace Qfn
