// Calling script functions.

#include <unordered_set>
#include <vector>

#include "QfnLogger/Check.h"
#include "QfnParser/expressions/AtOnceCalls.h"
#include "QfnParser/expressions/OMExpression.h"
#include "QfnParser/model/FunctionSignature.h"
#include "QfnParser/model/OMScope.h"
#include "QfnParser/model/OMStored.h"
#include "QfnParser/model/ScriptFault.h"
#include "QfnTask/YieldingFrame.h"

namespace Qfn {

bool OMStored::bindMember(const std::string& attr, const std::shared_ptr<IOMNode>& node)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(fType == OMType::Map);
            SANITY_CHECK(fMap);
            SANITY_CHECK(node);
            (*fMap)[attr] = node;
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// A walk over value's containers, each visited once: true when one of them is targetContainer, or
// holds targetNode itself as a member.
bool OMStored::reaches(const IOMNode& value, const void* targetContainer, const IOMNode* targetNode)
{
    const OMStored* valueStored = value.asStored();
    // A scalar holds nothing: no walk, and nothing allocated for one.
    if (!valueStored || (!valueStored->fArray && !valueStored->fMap)) return false;
    std::vector<const OMStored*> pending{valueStored};
    std::unordered_set<const void*> seen;
    while (!pending.empty()) {
        const OMStored* node = pending.back();
        pending.pop_back();
        const void* container = node->fArray ? static_cast<const void*>(node->fArray.get())
                                             : static_cast<const void*>(node->fMap.get());
        if (!container) continue;
        if (container == targetContainer) return true;
        if (!seen.insert(container).second) continue;
        bool holdsTarget = false;
        auto visit = [&pending, &holdsTarget, targetNode](const std::shared_ptr<IOMNode>& member) {
            if (targetNode && member.get() == targetNode) holdsTarget = true;
            if (const OMStored* stored = member ? member->asStored() : nullptr) pending.push_back(stored);
        };
        if (node->fArray) {
            for (const auto& member : *node->fArray)
                visit(member);
        } else {
            for (const auto& member : *node->fMap)
                visit(member.second);
        }
        if (holdsTarget) return true;
    }
    return false;
}

bool OMStored::wouldMakeCycle(const IOMNode& holder, const IOMNode& value)
{
    const OMStored* holderStored = holder.asStored();
    if (!holderStored) return false;
    const void* target = holderStored->fArray ? static_cast<const void*>(holderStored->fArray.get())
                                              : static_cast<const void*>(holderStored->fMap.get());
    return target && reaches(value, target, nullptr);
}

bool OMStored::wouldHoldItself(const IOMNode& node, const IOMNode& value)
{
    return reaches(value, nullptr, &node);
}

// A fresh scope under the caller's holds "this", "arguments", the parameters and the `var`
// locals; each parameter gets its own node, so that assigning to it never reaches the caller's
// variable (a container is still shared). A call at once binds neither "this" nor "arguments"
// (its body names neither), and keeps a temporary scalar argument as its parameter's node.
std::shared_ptr<OMScope> OMStored::makeCallScope(bool isMethod, const std::shared_ptr<IOMNode>& thisNode,
                                                 NodeSpan arguments, const std::shared_ptr<OMScope>& scope,
                                                 bool isAtOnce)
{
    std::shared_ptr<OMScope> retVal;
    try {
        do {
            SANITY_CHECK(fType == OMType::Function);
            SANITY_CHECK(scope);
            std::shared_ptr<FunctionSignature> functionSignature;
            ASSIGN(functionSignature, fFunctionSignature);
            std::shared_ptr<OMScope> functionScope;
            ASSIGN(functionScope, OMScope::scopeFactory(scope, ScopeRelationType::READ_WRITE));
            if (functionScope->getType() != OMType::Map) {
                SANITY_CHECK(functionScope->setEmptyMap());
            }
            const size_t argumentCount = arguments.size();
            // The receiver fills the first parameter when no argument is there for it, and
            // always for a plain call handed a receiver.
            const bool thisFillsFirst = thisNode && (!isMethod || argumentCount == 0);
            if (isMethod && thisNode) {
                SANITY_CHECK(functionScope->bindMember("this", thisNode));
            }
            if (isAtOnce) functionScope->setAtOnceMark(AtOnceCalls::scopeMark(), functionSignature);
            const auto& parameters = functionSignature->getParameterList();
            bool bound = true;
            for (size_t i = 1; i < parameters.size() && bound; ++i) {
                size_t valueIdx = i - 1;
                const std::shared_ptr<IOMNode>* source = nullptr;
                if (thisFillsFirst) {
                    source = valueIdx == 0
                                 ? &thisNode
                                 : (valueIdx - 1 < argumentCount ? &arguments[valueIdx - 1] : nullptr);
                } else if (valueIdx < argumentCount) {
                    source = &arguments[valueIdx];
                }
                // Held by the argument list alone: a temporary nobody else can see.
                const bool adopt = isAtOnce && source && OMNode::reuseOf(*source) == NodeReuse::REUSE &&
                                   (*source)->isScalar() && !(*source)->isReturnValue();
                const std::shared_ptr<IOMNode> value = source ? *source : nullptr;
                bound = functionScope->bindName(parameters[i], i - 1,
                                                adopt   ? value
                                                : value ? OMStored::factory(*value)
                                                        : OMStored::undefinedFactory());
            }
            SANITY_CHECK(bound);
            const auto& locals = functionSignature->getLocalVariables();
            for (size_t i = 0; i < locals.size(); ++i)
                bound = functionScope->bindName(locals[i], parameters.size() - 1 + i,
                                                OMStored::undefinedFactory()) &&
                        bound;
            SANITY_CHECK(bound);
            if (isAtOnce) {
                retVal = std::move(functionScope);
                break;
            }
            functionScope->setCallNames(functionSignature);
            if (!isMethod) {
                if (thisNode) {
                    SANITY_CHECK(functionScope->bindMember("this", thisNode));
                } else if (argumentCount > 0) {
                    SANITY_CHECK(functionScope->bindMember("this", arguments[0]));
                }
            }
            if (argumentCount > 0) {
                auto argumentArray = OMStored::arrayFactory();
                for (const auto& argument : arguments)
                    argumentArray->push(argument);
                SANITY_CHECK(functionScope->bindMember("arguments", argumentArray));
            }
            retVal = std::move(functionScope);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

void OMStored::reportCallTooDeep()
{
    LOG_ERROR("calls nested deeper than the limit maxCallDepth = " + std::to_string(Task::getMaxCallDepth()));
    ScriptFault::note({}, [] {
        return "calls nested deeper than the limit maxCallDepth = " + std::to_string(Task::getMaxCallDepth());
    });
}

bool OMStored::callAtOnce(NodeSpan arguments, const std::shared_ptr<OMScope>& scope,
                          std::shared_ptr<IOMNode>& retVal)
{
    try {
        do {
            SANITY_CHECK(fType == OMType::Function && fExpression);
            AtOnceCalls::Call call(*fExpression, arguments);
            if (!call.isEntered()) return false;
            std::shared_ptr<OMScope> functionScope;
            ASSIGN(functionScope, makeCallScope(false, nullptr, arguments, scope, true));
            std::shared_ptr<IOMNode> result;
            if (!fExpression->getAtOnce(functionScope, result)) return false;
            SANITY_CHECK(result);
            retVal = result->isReturnValue() ? result->unwrapReturnValue() : std::move(result);
            if (!retVal) retVal = OMStored::undefinedFactory();
            return true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    retVal.reset();
    return true;
}

void OMStored::callNodeAsFunction_yielding(const std::shared_ptr<Task>& task,
                                           std::shared_ptr<IOMNode>& retVal, bool isMethod,
                                           const std::shared_ptr<IOMNode>& thisNode,
                                           const NodeList& arguments, const std::shared_ptr<OMScope>& scope)
{
    struct LocalVariableState : virtual OMFunctionState {
        std::shared_ptr<OMScope> functionScope;
        std::shared_ptr<OMExpression> expression;
        std::shared_ptr<IOMNode> result;
    };
    enum : unsigned { EVALUATE = 1 };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) retVal = nullptr;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0:
                    s.fState = kFinished;
                    SANITY_CHECK(fType == OMType::Function);
                    SANITY_CHECK(scope);
                    ASSIGN(s.expression, fExpression);
                    ASSIGN(s.functionScope,
                           makeCallScope(isMethod, thisNode, arguments ? NodeSpan(*arguments) : NodeSpan(),
                                         scope, false));
                    if (!task->enterScriptCall()) {
                        reportCallTooDeep();
                        break;
                    }
                    s.fState = EVALUATE;
                    break;
                    YIELDING_CALL(EVALUATE, s.expression->get_yielding(task, s.result, AccessType::GET,
                                                                       s.functionScope, ScriptPhase::RUN));
                case resumeAfter(EVALUATE):
                    s.fState = kFinished;
                    task->leaveScriptCall();
                    SANITY_CHECK(s.result);
                    retVal = s.result->unwrapReturnValue();
                    if (!retVal) retVal = OMStored::undefinedFactory();
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

void OMStored::functionOperation_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                                          Token token, bool isMethod,
                                          const std::shared_ptr<IOMNode>& thisNode, const NodeList& arguments,
                                          const std::shared_ptr<OMScope>& scope)
{
    const std::string& functionName = tokenToStr(token);
    if (functionName.empty()) {
        retVal = nullptr;
        LOG_CHECK_FAILED("SANITY_CHECK", "! functionName.empty()");
        return;
    }
    functionOperation_yielding(task, retVal, functionName, isMethod, thisNode, arguments, scope);
}

// A member of that name on the receiver, else a variable of the scope; only a function is called.
void OMStored::functionOperation_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                                          const std::string& name, bool isMethod,
                                          const std::shared_ptr<IOMNode>& thisNode, const NodeList& arguments,
                                          const std::shared_ptr<OMScope>& scope)
{
    struct LocalVariableState : virtual OMFunctionState {
        std::shared_ptr<OMStored> function;
    };
    enum : unsigned { CALL = 1 };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) retVal = nullptr;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0: {
                    s.fState = kFinished;
                    SANITY_CHECK(scope);
                    std::shared_ptr<IOMNode> found;
                    if (thisNode) {
                        if (!thisNode->accessOMNodeReadOnlyResolved(scope, nullptr, name, found) ||
                            (found && found->getType() == OMType::Error))
                            found.reset();
                    }
                    if (!found && !scope->accessOMNodeReadOnlyResolved(scope, nullptr, name, found))
                        found.reset();
                    if (!found || found->getType() != OMType::Function) break;
                    ASSIGN(s.function, found->getOMStoredPtr());
                    s.fState = CALL;
                    break;
                }
                    YIELDING_CALL(CALL, s.function->callNodeAsFunction_yielding(task, retVal, isMethod,
                                                                                thisNode, arguments, scope));
                case resumeAfter(CALL):
                    s.fState = kFinished;
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

}  // namespace Qfn
