#include "QfnParser/OMExpression.h"

namespace Qfn {

void OMExpression::get_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                                const std::shared_ptr<OMScope>& scope)
{
    get_yielding(task, retVal, AccessType::GET, scope, ScriptPhase::RUN);
}

}  // namespace Qfn
