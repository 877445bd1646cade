#include "QfnParser/tasks/script/ExpressionGetterTask.h"

#include "QfnLogger/Check.h"
#include "QfnParser/expressions/OMExpression.h"
#include "QfnParser/model/OMScope.h"
#include "QfnParser/model/OMStored.h"

namespace Qfn {

ExpressionGetterTask::ExpressionGetterTask(std::shared_ptr<OMExpression> expression, AccessType accessType,
                                           std::shared_ptr<OMScope> scope, ScriptPhase scriptPhase)
    : Task("ExpressionGetterTask", -2, nullptr),
      fExpression(std::move(expression)),
      fAccessType(accessType),
      fScope(std::move(scope)),
      fScriptPhase(scriptPhase)
{
}

std::shared_ptr<Task> ExpressionGetterTask::factory(const std::shared_ptr<OMExpression>& expression,
                                                    AccessType accessType,
                                                    const std::shared_ptr<OMScope>& scope,
                                                    ScriptPhase scriptPhase)
{
    std::shared_ptr<Task> retVal;
    try {
        do {
            SANITY_CHECK(expression);
            SANITY_CHECK(scope);
            std::shared_ptr<Task> task(new ExpressionGetterTask(expression, accessType, scope, scriptPhase));
            SANITY_CHECK(Task::registerTask(task));
            retVal = task;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<IOMNode> ExpressionGetterTask::call(const std::shared_ptr<OMExpression>& expression,
                                                    AccessType accessType,
                                                    const std::shared_ptr<OMScope>& scope,
                                                    ScriptPhase scriptPhase)
{
    std::shared_ptr<IOMNode> retVal;
    try {
        do {
            std::shared_ptr<Task> task;
            ASSIGN(task, factory(expression, accessType, scope, scriptPhase));
            std::shared_ptr<ExpressionGetterTask> getter;
            ASSIGN(getter, std::dynamic_pointer_cast<ExpressionGetterTask>(task));
            SANITY_CHECK(getter->runToCompletion());
            retVal = getter->fRetValNode;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

void ExpressionGetterTask::timeslice()
{
    try {
        std::shared_ptr<Task> task = shared_from_this();
        fExpression->get_yielding(task, fRetValNode, fAccessType, fScope, fScriptPhase);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

}  // namespace Qfn
