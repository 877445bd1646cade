#include "QfnParser/expressions/OMExpressionLValueIndexByExpression.h"

#include <cmath>

#include "QfnLogger/Check.h"
#include "QfnParser/expressions/AtOnceCalls.h"
#include "QfnParser/model/OMNode.h"
#include "QfnParser/model/OMStored.h"
#include "QfnTask/YieldingFrame.h"

namespace Qfn {

std::shared_ptr<OMExpressionLValueIndexByExpression> OMExpressionLValueIndexByExpression::factory(
    const std::shared_ptr<IOMNode>& parent, const std::shared_ptr<IOMNode>& indexExpression)
{
    std::shared_ptr<OMExpressionLValueIndexByExpression> retVal;
    try {
        do {
            SANITY_CHECK(parent);
            SANITY_CHECK(indexExpression);
            retVal.reset(new OMExpressionLValueIndexByExpression(parent, indexExpression));
            retVal->setDepthFrom(parent);
            retVal->setDepthFrom(indexExpression);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string OMExpressionLValueIndexByExpression::linkText() const
{
    return std::string("[") + operandSourceText(fIndexExpression, static_cast<int>(BinOp::ASSIGN)) + "]";
}

bool OMExpressionLValueIndexByExpression::linkEqual(const OMExpressionLValue& other) const
{
    return nodesEqual(fIndexExpression,
                      static_cast<const OMExpressionLValueIndexByExpression&>(other).fIndexExpression);
}

bool OMExpressionLValueIndexByExpression::linkLess(const OMExpressionLValue& other) const
{
    return nodesLess(fIndexExpression,
                     static_cast<const OMExpressionLValueIndexByExpression&>(other).fIndexExpression);
}

uint64_t OMExpressionLValueIndexByExpression::linkHash() const
{
    return mixHash(0x3779B97F4A7C159Eull, nodeHash(fIndexExpression));
}

bool OMExpressionLValueIndexByExpression::scanForLocalVariables(
    const std::shared_ptr<FunctionSignature>& functionSignature, bool& inLocalSequence)
{
    bool retVal = OMExpressionLValue::scanForLocalVariables(functionSignature, inLocalSequence);
    if (auto expression = expressionOf(fIndexExpression))
        retVal = expression->scanForLocalVariables(functionSignature, inLocalSequence) && retVal;
    return retVal;
}

bool OMExpressionLValueIndexByExpression::computeAtOnce(AtOnceMode mode) const
{
    return fParent && fIndexExpression && isLinkAtOnce(mode) &&
           OMNode::isResolvableAtOnce(fIndexExpression, mode);
}

bool OMExpressionLValueIndexByExpression::accessAtOnce(const std::shared_ptr<OMScope>& scope,
                                                       AccessType access,
                                                       const std::shared_ptr<IOMNode>& optionalNewValue,
                                                       std::shared_ptr<IOMNode>& retVal)
{
    try {
        do {
            SANITY_CHECK(scope && fIndexExpression);
            // A container may be anyone's: an attempt with calls cannot store into one.
            if (access != AccessType::GET && AtOnceCalls::mode() == AtOnceMode::WITH_CALLS) {
                AtOnceCalls::refuse();
                return false;
            }
            std::shared_ptr<IOMNode> parent;
            OMStored* holder = nullptr;
            if (!resolveHolderAtOnce(scope, parent, holder)) return false;
            if (!holder) break;
            std::shared_ptr<IOMNode> index;
            if (!OMNode::getResolvedNodeAtOnce(fIndexExpression, scope, HandleReturnValue::UNWRAP, index))
                return false;
            SANITY_CHECK(index);
            std::shared_ptr<IOMNode> node;
            bool found = false;
            const OMType type = index->getType();
            if (type == OMType::String) {
                found = holder->accessAtOnce(access, index->getString(), node);
            } else if ((type == OMType::Int || type == OMType::Float) && index->getAsNum() >= 0 &&
                       index->getAsNum() < 18446744073709551616.0) {
                found = holder->accessAtOnce(access, static_cast<uint64_t>(index->getAsNum()), node);
            }
            retVal = deliver(found, node, access, optionalNewValue, parent);
            return true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    retVal.reset();
    return true;
}

// The index is evaluated first: a String names a member, a number an element.
void OMExpressionLValueIndexByExpression::get_yielding(const std::shared_ptr<Task>& task,
                                                       std::shared_ptr<IOMNode>& retVal,
                                                       AccessType accessType,
                                                       const std::shared_ptr<OMScope>& scope,
                                                       ScriptPhase scriptPhase,
                                                       std::shared_ptr<IOMNode>& optionalNewValue)
{
    struct LocalVariableState : virtual OMFunctionState {
        bool success = false;
        OMExpressionLValueResolution resolution;
        std::shared_ptr<IOMNode> index;
        std::shared_ptr<IOMNode> node;
    };
    enum : unsigned { RESOLVE = 1, RESOLVE_INDEX, ACCESS_ATTR, ACCESS_IDX, DONE };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) retVal = nullptr;
        LocalVariableState& s = *frame;
        const AccessType access = optionalNewValue ? AccessType::GET_CREATE : accessType;
        do {
            switch (s.fState) {
                case 0:
                    s.fState = kFinished;
                    if (scriptPhase == ScriptPhase::PARSE) break;
                    SANITY_CHECK(scope);
                    SANITY_CHECK(fIndexExpression);
                    s.fState = RESOLVE;
                    break;
                    YIELDING_CALL(
                        RESOLVE, resolve_yielding(task, s.success, access, scope, scriptPhase, s.resolution));
                case resumeAfter(RESOLVE):
                    s.fState = kFinished;
                    SANITY_CHECK(s.success);
                    SANITY_CHECK(s.resolution.fResolvedParent);
                    s.fState = RESOLVE_INDEX;
                    break;
                    YIELDING_CALL(RESOLVE_INDEX, OMNode::getResolvedNode_yielding(
                                                     task, s.index, AccessType::GET, fIndexExpression, scope,
                                                     scriptPhase, HandleReturnValue::UNWRAP));
                case resumeAfter(RESOLVE_INDEX): {
                    s.fState = kFinished;
                    SANITY_CHECK(s.index);
                    s.success = false;
                    OMType type = s.index->getType();
                    if (type == OMType::String) {
                        s.fState = ACCESS_ATTR;
                    } else if ((type == OMType::Int || type == OMType::Float) && s.index->getAsNum() >= 0 &&
                               s.index->getAsNum() < 18446744073709551616.0) {
                        s.fState = ACCESS_IDX;
                    } else {
                        s.fState = DONE;
                    }
                    break;
                }
                    YIELDING_CALL(ACCESS_ATTR,
                                  s.resolution.fResolvedParent->accessOMNodeResolved_yielding(
                                      task, s.success, scope, nullptr, access, s.index->getString(), s.node));
                case resumeAfter(ACCESS_ATTR):
                    s.fState = DONE;
                    break;
                    YIELDING_CALL(ACCESS_IDX, s.resolution.fResolvedParent->accessOMNodeResolved_yielding(
                                                  task, s.success, scope, nullptr, access,
                                                  static_cast<uint64_t>(s.index->getAsNum()), s.node));
                case resumeAfter(ACCESS_IDX):
                    s.fState = DONE;
                    break;
                case DONE:
                    s.fState = kFinished;
                    retVal =
                        deliver(s.success, s.node, access, optionalNewValue, s.resolution.fResolvedParent);
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

}  // namespace Qfn
