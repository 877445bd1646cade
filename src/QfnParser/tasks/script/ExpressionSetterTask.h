#pragma once

#include <memory>

#include "QfnParser/Forward.h"
#include "QfnParser/model/AccessType.h"
#include "QfnTask/Task.h"

namespace Qfn {

// Stores a value through an expression that names a place (`a.b[2]`); the task's result is
// whether it was stored.
class ExpressionSetterTask : public virtual Task {
public:
    static std::shared_ptr<Task> factory(const std::shared_ptr<OMExpression>& expression,
                                         AccessType accessType, std::shared_ptr<IOMNode>& node,
                                         const std::shared_ptr<OMScope>& scope, ScriptPhase scriptPhase);
    static bool call(const std::shared_ptr<OMExpression>& expression, AccessType accessType,
                     std::shared_ptr<IOMNode>& node, const std::shared_ptr<OMScope>& scope,
                     ScriptPhase scriptPhase);

    void timeslice() override;

private:
    ExpressionSetterTask(std::shared_ptr<OMExpression> expression, AccessType accessType,
                         std::shared_ptr<IOMNode>& node, std::shared_ptr<OMScope> scope,
                         ScriptPhase scriptPhase);

    std::shared_ptr<OMExpression> fExpression;
    [[maybe_unused]] AccessType fAccessType;  // a store always writes; kept for the callers that pass it
    // The caller's node: it outlives the task in call().
    std::shared_ptr<IOMNode>& fNode;
    std::shared_ptr<OMScope> fScope;
    ScriptPhase fScriptPhase;
};

}  // namespace Qfn
