#include "QfnParser/expressions/OMExpressionLValueCall.h"

#include <array>

#include "QfnLogger/Check.h"
#include "QfnParser/expressions/AtOnceCalls.h"
#include "QfnParser/expressions/OMExpressionLValueStr.h"
#include "QfnParser/expressions/OMExpressionLValueToken.h"
#include "QfnParser/model/OMNode.h"
#include "QfnParser/model/OMStored.h"
#include "QfnTask/YieldingFrame.h"

namespace Qfn {

std::shared_ptr<OMExpressionLValueCall> OMExpressionLValueCall::factory(
    const std::shared_ptr<IOMNode>& parent, const NodeList& arguments)
{
    std::shared_ptr<OMExpressionLValueCall> retVal;
    try {
        do {
            SANITY_CHECK(parent);
            NodeList list = arguments ? arguments : std::make_shared<std::vector<std::shared_ptr<IOMNode>>>();
            retVal.reset(new OMExpressionLValueCall(parent, list));
            retVal->setDepthFrom(parent);
            for (const auto& argument : *list)
                retVal->setDepthFrom(argument);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string OMExpressionLValueCall::linkText() const
{
    std::string retVal = "(";
    if (fUnresolvedArgumentList) {
        for (size_t i = 0; i < fUnresolvedArgumentList->size(); ++i) {
            if (i > 0) retVal += ", ";
            retVal += operandSourceText((*fUnresolvedArgumentList)[i], static_cast<int>(BinOp::ASSIGN));
        }
    }
    return retVal + ")";
}

// Parent and arguments say all; the base compares them.
bool OMExpressionLValueCall::linkEqual(const OMExpressionLValue&) const
{
    return true;
}

bool OMExpressionLValueCall::linkLess(const OMExpressionLValue&) const
{
    return false;
}

uint64_t OMExpressionLValueCall::linkHash() const
{
    return 0xC159E3779B97F4A7ull;
}

void OMExpressionLValueCall::knowCallee() const
{
    if (fCalleeKnown) return;
    auto calleeExpression = expressionOf(fParent);
    fBuiltin = std::dynamic_pointer_cast<OMExpressionLValueToken>(calleeExpression);
    fMethod = std::dynamic_pointer_cast<OMExpressionLValueStr>(calleeExpression);
    if (fMethod && !fMethod->getParent()) fMethod.reset();
    fCalleeKnown = true;
}

// A call of a built-in that never suspends, over arguments and a receiver that resolve at once;
// with calls, instead a plain call `f(...)` of a script function (whose body is checked when called).
bool OMExpressionLValueCall::computeAtOnce(AtOnceMode mode) const
{
    knowCallee();
    if (mode == AtOnceMode::WITH_CALLS) {
        return !fBuiltin && !fMethod && OMNode::isResolvableAtOnce(fParent, mode) &&
               OMNode::isEachResolvableAtOnce(fUnresolvedArgumentList, mode);
    }
    if (!fBuiltin || !fBuiltin->isPlainBuiltin()) return false;
    if (fBuiltin->getParent() && !OMNode::isResolvableAtOnce(fBuiltin->getParent(), mode)) return false;
    return OMNode::isEachResolvableAtOnce(fUnresolvedArgumentList, mode);
}

// The steps of get_yielding for a plain call of a script function: arguments, callee, the call.
bool OMExpressionLValueCall::callScriptAtOnce(const std::shared_ptr<OMScope>& scope,
                                              std::shared_ptr<IOMNode>& retVal)
{
    try {
        do {
            SANITY_CHECK(fUnresolvedArgumentList && fParent && scope);
            // A few arguments are held on the stack: a call then allocates nothing for them.
            const size_t count = fUnresolvedArgumentList->size();
            std::array<std::shared_ptr<IOMNode>, 4> few;
            OMArray many;
            if (count > few.size()) many.resize(count);
            std::shared_ptr<IOMNode>* held = count > few.size() ? many.data() : few.data();
            for (size_t idx = 0; idx < count; ++idx) {
                if (!OMNode::getResolvedNodeAtOnce((*fUnresolvedArgumentList)[idx], scope,
                                                   HandleReturnValue::UNWRAP, held[idx]))
                    return false;
                // An argument without a value: the resumable way reports it.
                if (!held[idx]) return false;
            }
            const NodeSpan arguments(held, count);
            std::shared_ptr<IOMNode> callee;
            if (!OMNode::getResolvedNodeAtOnce(fParent, scope, HandleReturnValue::UNWRAP, callee))
                return false;
            OMStored* function =
                callee && callee->getType() == OMType::Function ? callee->asPlainStored() : nullptr;
            if (!function) {
                // Not a function: the resumable way reports that, every time.
                AtOnceCalls::refuse();
                return false;
            }
            if (!function->callAtOnce(arguments, scope, retVal)) return false;
            return true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    retVal.reset();
    return true;
}

// The steps of get_yielding for such a call: arguments, receiver in front of them, the built-in.
bool OMExpressionLValueCall::getAtOnce(const std::shared_ptr<OMScope>& scope,
                                       std::shared_ptr<IOMNode>& retVal)
{
    if (!fBuiltin) return AtOnceCalls::mode() == AtOnceMode::WITH_CALLS && callScriptAtOnce(scope, retVal);
    try {
        do {
            SANITY_CHECK(fUnresolvedArgumentList && fBuiltin && scope);
            OMExpressionLValueResolution resolution;
            resolution.fResolvedArgumentList = std::make_shared<std::vector<std::shared_ptr<IOMNode>>>();
            resolution.fResolvedArgumentList->reserve(fUnresolvedArgumentList->size() + 1);
            bool complete = true;
            for (const auto& argument : *fUnresolvedArgumentList) {
                std::shared_ptr<IOMNode> resolved;
                if (!OMNode::getResolvedNodeAtOnce(argument, scope, HandleReturnValue::UNWRAP, resolved))
                    return false;
                if (!resolved) {
                    complete = false;
                    break;
                }
                resolution.fResolvedArgumentList->push_back(std::move(resolved));
            }
            SANITY_CHECK(complete);
            if (const std::shared_ptr<IOMNode>& parent = fBuiltin->getParent()) {
                std::shared_ptr<IOMNode> receiver;
                if (!OMNode::getResolvedNodeAtOnce(parent, scope, HandleReturnValue::UNWRAP, receiver))
                    return false;
                SANITY_CHECK(receiver);
                resolution.setThisNode(receiver);
                resolution.setIsMethod(true);
                resolution.fResolvedArgumentList->insert(resolution.fResolvedArgumentList->begin(),
                                                         std::move(receiver));
            }
            std::shared_ptr<IOMNode> result = fBuiltin->callPlainBuiltin(AccessType::GET, scope, resolution);
            if (result && result->isReturnValue()) result = result->unwrapReturnValue();
            retVal = std::move(result);
            return true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    retVal.reset();
    return true;
}

// The arguments are evaluated in the caller's scope first. A built-in link gets the receiver
// in front of them; `obj.name(...)` looks for a method of obj, then in the scope; anything else
// must evaluate to a function.
void OMExpressionLValueCall::get_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                                          AccessType accessType, const std::shared_ptr<OMScope>& scope,
                                          ScriptPhase scriptPhase, std::shared_ptr<IOMNode>& optionalNewValue)
{
    struct LocalVariableState : virtual OMFunctionState {
        bool isResolved = false;
        OMExpressionLValueResolution resolution;
        std::shared_ptr<OMExpressionLValueToken> builtin;
        std::shared_ptr<OMExpressionLValueStr> method;
        std::shared_ptr<IOMNode> receiver;
        std::shared_ptr<IOMNode> callee;
        std::shared_ptr<IOMNode> result;
    };
    enum : unsigned {
        RESOLVE_ARGUMENTS = 1,
        CHOOSE_CALLEE,
        RESOLVE_RECEIVER,
        CALL_BUILTIN,
        CALL_METHOD,
        RESOLVE_CALLEE,
        CALL_FUNCTION,
        DONE,
    };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) retVal = nullptr;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0:
                    s.fState = kFinished;
                    if (scriptPhase == ScriptPhase::PARSE) break;
                    SANITY_CHECK(fParent);
                    SANITY_CHECK(fUnresolvedArgumentList);
                    SANITY_CHECK(scope);
                    s.fState = RESOLVE_ARGUMENTS;
                    break;

                    YIELDING_CALL(RESOLVE_ARGUMENTS,
                                  OMNode::resolveArgumentList_yielding(
                                      task, s.resolution.fResolvedArgumentList, AccessType::GET,
                                      fUnresolvedArgumentList, s.isResolved, scope, scriptPhase));
                case resumeAfter(RESOLVE_ARGUMENTS):
                    s.fState = kFinished;
                    SANITY_CHECK(s.resolution.fResolvedArgumentList);
                    s.fState = CHOOSE_CALLEE;
                    break;

                case CHOOSE_CALLEE: {
                    knowCallee();
                    s.builtin = fBuiltin;
                    s.method = fMethod;
                    if (s.builtin) {
                        s.fState = s.builtin->getParent() ? RESOLVE_RECEIVER : CALL_BUILTIN;
                    } else if (optionalNewValue) {
                        // Only a built-in call can name a place to store into.
                        LOG_ERROR("cannot assign to " + toString());
                        ScriptFault::note(fPlace, [this] { return "cannot assign to " + toString(); });
                        s.fState = kFinished;
                    } else {
                        s.fState = s.method ? RESOLVE_RECEIVER : RESOLVE_CALLEE;
                    }
                    break;
                }

                    YIELDING_CALL(RESOLVE_RECEIVER,
                                  OMNode::getResolvedNode_yielding(
                                      task, s.receiver, AccessType::GET,
                                      s.builtin ? s.builtin->getParent() : s.method->getParent(), scope,
                                      scriptPhase, HandleReturnValue::UNWRAP));
                case resumeAfter(RESOLVE_RECEIVER):
                    s.fState = kFinished;
                    SANITY_CHECK(s.receiver);
                    s.resolution.setThisNode(s.receiver);
                    s.resolution.setIsMethod(true);
                    if (s.builtin) {
                        // A method call of a built-in has its receiver as argument 0.
                        s.resolution.fResolvedArgumentList->insert(
                            s.resolution.fResolvedArgumentList->begin(), s.receiver);
                        s.fState = CALL_BUILTIN;
                    } else {
                        s.fState = CALL_METHOD;
                    }
                    break;

                    YIELDING_CALL(CALL_BUILTIN,
                                  s.builtin->callBuiltin_yielding(task, s.result, accessType, scope,
                                                                  s.resolution, optionalNewValue));
                case resumeAfter(CALL_BUILTIN):
                    s.fState = DONE;
                    break;

                    YIELDING_CALL(CALL_METHOD, OMStored::functionOperation_yielding(
                                                   task, s.result, s.method->getIdentifier(), true,
                                                   s.receiver, s.resolution.fResolvedArgumentList, scope));
                case resumeAfter(CALL_METHOD):
                    s.fState = kFinished;
                    if (!s.result) {
                        LOG_ERROR(std::string("function not found: ") + s.method->getIdentifier());
                        ScriptFault::note(fPlace,
                                          [&s] { return "no such function: " + s.method->getIdentifier(); });
                        break;
                    }
                    s.fState = DONE;
                    break;

                    YIELDING_CALL(RESOLVE_CALLEE, OMNode::getResolvedNode_yielding(
                                                      task, s.callee, AccessType::GET, fParent, scope,
                                                      scriptPhase, HandleReturnValue::UNWRAP));
                case resumeAfter(RESOLVE_CALLEE):
                    s.fState = kFinished;
                    if (!s.callee || s.callee->getType() != OMType::Function) {
                        LOG_ERROR(std::string("not a function: ") + nodeSourceText(fParent));
                        ScriptFault::note(fPlace,
                                          [this] { return "not a function: " + nodeSourceText(fParent); });
                        break;
                    }
                    s.fState = CALL_FUNCTION;
                    break;
                    YIELDING_CALL(
                        CALL_FUNCTION,
                        std::static_pointer_cast<OMStored>(s.callee->getOMStoredPtr())
                            ->callNodeAsFunction_yielding(task, s.result, false, nullptr,
                                                          s.resolution.fResolvedArgumentList, scope));
                case resumeAfter(CALL_FUNCTION):
                    s.fState = DONE;
                    break;

                case DONE:
                    s.fState = kFinished;
                    if (!s.result) break;
                    retVal = s.result->unwrapReturnValue();
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

}  // namespace Qfn
