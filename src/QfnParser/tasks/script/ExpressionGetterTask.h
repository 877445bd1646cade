#pragma once

#include <memory>
#include <string>

#include "QfnParser/Forward.h"
#include "QfnParser/model/AccessType.h"
#include "QfnTask/Task.h"

namespace Qfn {

// Reads an expression's value; the value is the task's result node.
class ExpressionGetterTask : public virtual Task {
public:
    static std::shared_ptr<Task> factory(const std::shared_ptr<OMExpression>& expression,
                                         AccessType accessType, const std::shared_ptr<OMScope>& scope,
                                         ScriptPhase scriptPhase);
    // Runs to completion, serving the other tasks meanwhile; null when it failed.
    static std::shared_ptr<IOMNode> call(const std::shared_ptr<OMExpression>& expression,
                                         AccessType accessType, const std::shared_ptr<OMScope>& scope,
                                         ScriptPhase scriptPhase);

    void timeslice() override;

private:
    ExpressionGetterTask(std::shared_ptr<OMExpression> expression, AccessType accessType,
                         std::shared_ptr<OMScope> scope, ScriptPhase scriptPhase);

    std::shared_ptr<OMExpression> fExpression;
    AccessType fAccessType;
    std::shared_ptr<OMScope> fScope;
    ScriptPhase fScriptPhase;
};

}  // namespace Qfn
