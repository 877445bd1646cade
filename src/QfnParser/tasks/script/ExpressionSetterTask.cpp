#include "QfnParser/tasks/script/ExpressionSetterTask.h"

#include "QfnLogger/Check.h"
#include "QfnParser/expressions/OMExpression.h"
#include "QfnParser/model/OMScope.h"

namespace Qfn {

ExpressionSetterTask::ExpressionSetterTask(std::shared_ptr<OMExpression> expression, AccessType accessType,
                                           std::shared_ptr<IOMNode>& node, std::shared_ptr<OMScope> scope,
                                           ScriptPhase scriptPhase)
    : Task("ExpressionSetterTask", -2, nullptr),
      fExpression(std::move(expression)),
      fAccessType(accessType),
      fNode(node),
      fScope(std::move(scope)),
      fScriptPhase(scriptPhase)
{
}

std::shared_ptr<Task> ExpressionSetterTask::factory(const std::shared_ptr<OMExpression>& expression,
                                                    AccessType accessType, std::shared_ptr<IOMNode>& node,
                                                    const std::shared_ptr<OMScope>& scope,
                                                    ScriptPhase scriptPhase)
{
    std::shared_ptr<Task> retVal;
    try {
        do {
            SANITY_CHECK(expression);
            SANITY_CHECK(scope);
            std::shared_ptr<Task> task(
                new ExpressionSetterTask(expression, accessType, node, scope, scriptPhase));
            SANITY_CHECK(Task::registerTask(task));
            retVal = task;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool ExpressionSetterTask::call(const std::shared_ptr<OMExpression>& expression, AccessType accessType,
                                std::shared_ptr<IOMNode>& node, const std::shared_ptr<OMScope>& scope,
                                ScriptPhase scriptPhase)
{
    bool retVal = false;
    try {
        do {
            std::shared_ptr<Task> task;
            ASSIGN(task, factory(expression, accessType, node, scope, scriptPhase));
            std::shared_ptr<ExpressionSetterTask> setter;
            ASSIGN(setter, std::dynamic_pointer_cast<ExpressionSetterTask>(task));
            SANITY_CHECK(setter->runToCompletion());
            retVal = setter->fRetValBool;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

void ExpressionSetterTask::timeslice()
{
    try {
        std::shared_ptr<Task> task = shared_from_this();
        fExpression->set_yielding(task, fRetValBool, fNode, fScope, fScriptPhase);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

}  // namespace Qfn
