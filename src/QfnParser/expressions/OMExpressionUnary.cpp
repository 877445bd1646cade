#include "QfnParser/expressions/OMExpressionUnary.h"

#include <typeinfo>

#include "QfnLogger/Check.h"
#include "QfnParser/model/OMNode.h"
#include "QfnParser/model/OMStored.h"
#include "QfnTask/YieldingFrame.h"
#include "QfnUtils/PoolAllocator.h"

namespace Qfn {

std::shared_ptr<OMExpressionUnary> OMExpressionUnary::factory(UnOp unOp, const std::shared_ptr<IOMNode>& node)
{
    // One allocation for the expression and its count: every `return` wraps its value in one.
    struct SharedOMExpressionUnary final : OMExpressionUnary {
        SharedOMExpressionUnary(UnOp op, const std::shared_ptr<IOMNode>& operand)
            : OMExpressionUnary(op, operand)
        {
        }
    };
    std::shared_ptr<OMExpressionUnary> retVal =
        std::allocate_shared<SharedOMExpressionUnary>(PoolAllocator<SharedOMExpressionUnary>(), unOp, node);
    retVal->setDepthFrom(node);
    return retVal;
}

const char* OMExpressionUnary::unOpToPrefixStr(UnOp unOp)
{
    switch (unOp) {
        case UnOp::PRE_DEC:
            return "--";
        case UnOp::PRE_INC:
            return "++";
        case UnOp::POST_DEC:
        case UnOp::POST_INC:
            return "";
        case UnOp::NEG:
            return "-";
        case UnOp::PLUS:
            return "+";
        case UnOp::NOT:
            return "!";
        case UnOp::BIT_NOT:
            return "~";
        case UnOp::TYPEOF:
            return "typeof ";
        case UnOp::RETURN:
            return "return ";
    }
    LOG_ERROR("unexpected unOp");
    return "";
}

const char* OMExpressionUnary::unOpToSuffixStr(UnOp unOp)
{
    switch (unOp) {
        case UnOp::POST_DEC:
            return "--";
        case UnOp::POST_INC:
            return "++";
        default:
            return "";
    }
}

// Prefix operators take a compound operand in parentheses, so that `-(-a)` does not read `--a`.
std::string OMExpressionUnary::toString() const
{
    int maxLevel = fUnOp == UnOp::RETURN ? static_cast<int>(BinOp::ASSIGN) : 0;
    return unOpToPrefixStr(fUnOp) + operandSourceText(fNode, maxLevel) + unOpToSuffixStr(fUnOp);
}

// FNV-1a over the operator, continued over the operand's hash.
uint64_t OMExpressionUnary::hash() const
{
    uint64_t retVal = 0xCBF29CE484222325ull;
    auto mix = [&retVal](uint64_t value) {
        for (int i = 0; i < 8; ++i, value >>= 8) {
            retVal ^= value & 0xFF;
            retVal *= 0x100000001B3ull;
        }
    };
    mix(static_cast<uint64_t>(fUnOp));
    mix(fNode ? fNode->hash() : 0);
    return retVal;
}

bool OMExpressionUnary::operator==(const OMExpression& other) const
{
    const auto* unary = dynamic_cast<const OMExpressionUnary*>(&other);
    if (!unary || unary->fUnOp != fUnOp) return false;
    return nodesEqual(fNode, unary->fNode);
}

// Unlike classes of expression keep an arbitrary but fixed order.
bool OMExpressionUnary::operator<(const OMExpression& other) const
{
    const auto* unary = dynamic_cast<const OMExpressionUnary*>(&other);
    if (!unary) return typeid(*this).before(typeid(other));
    if (fUnOp != unary->fUnOp) return fUnOp < unary->fUnOp;
    return nodesLess(fNode, unary->fNode);
}

bool OMExpressionUnary::scanForLocalVariables(const std::shared_ptr<FunctionSignature>& functionSignature,
                                              bool& inLocalSequence)
{
    auto expression = fNode && fNode->getType() == OMType::Expression ? fNode->getExpression() : nullptr;
    return expression ? expression->scanForLocalVariables(functionSignature, inLocalSequence) : true;
}

bool OMExpressionUnary::isChanging() const
{
    return fUnOp == UnOp::PRE_DEC || fUnOp == UnOp::PRE_INC || fUnOp == UnOp::POST_DEC ||
           fUnOp == UnOp::POST_INC;
}

bool OMExpressionUnary::computeAtOnce(AtOnceMode mode) const
{
    if (!OMNode::isResolvableAtOnce(fNode, mode)) return false;
    if (!isChanging()) return true;
    const std::shared_ptr<OMExpression> target = expressionOf(fNode);
    return target && target->isSettableAtOnce(mode);
}

// The steps of get_yielding in one go; the operand is read before anything is stored.
bool OMExpressionUnary::getAtOnce(const std::shared_ptr<OMScope>& scope, std::shared_ptr<IOMNode>& retVal)
{
    try {
        do {
            std::shared_ptr<IOMNode> operand;
            if (!OMNode::getResolvedNodeAtOnce(fNode, scope, HandleReturnValue::UNWRAP, operand))
                return false;
            if (!operand) break;
            if (fUnOp == UnOp::RETURN) {
                retVal = operand->isReturnValue() ? operand : operand->wrapReturnValue();
                return true;
            }
            if (!isChanging()) {
                retVal = OMNode::unaryOperation(fUnOp, static_cast<const IOMNode&>(*operand));
                return true;
            }
            OMExpression* target = fNode->getExpression().get();
            SANITY_CHECK(target);
            const bool increment = fUnOp == UnOp::PRE_INC || fUnOp == UnOp::POST_INC;
            std::shared_ptr<IOMNode> changed;
            ASSIGN(changed, OMNode::unaryOperation(increment ? UnOp::PRE_INC : UnOp::PRE_DEC,
                                                   static_cast<const IOMNode&>(*operand)));
            // The old value must outlive the store, which may write into the operand's node.
            const bool post = fUnOp == UnOp::POST_INC || fUnOp == UnOp::POST_DEC;
            if (post) operand = OMStored::factory(static_cast<const IOMNode&>(*operand));
            bool stored = false;
            if (!target->setAtOnce(scope, changed, stored)) return false;
            SANITY_CHECK(stored);
            retVal = post ? std::move(operand) : std::move(changed);
            return true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    retVal.reset();
    return true;
}

// The operand's value, then the operator over a temporary; `return` wraps the value itself. The
// changing operators store the new value back through the operand, and the post forms give the
// old one.
void OMExpressionUnary::get_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                                     AccessType, const std::shared_ptr<OMScope>& scope,
                                     ScriptPhase scriptPhase)
{
    struct LocalVariableState : virtual OMFunctionState {
        std::shared_ptr<IOMNode> operand;
        std::shared_ptr<IOMNode> changed;
        std::shared_ptr<OMExpression> target;
        bool stored = false;
    };
    enum : unsigned { RESOLVE_OPERAND = 1, STORE };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) retVal = nullptr;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0:
                    s.fState = RESOLVE_OPERAND;
                    break;
                    YIELDING_CALL(RESOLVE_OPERAND, OMNode::getResolvedNode_yielding(
                                                       task, s.operand, AccessType::GET, fNode, scope,
                                                       scriptPhase, HandleReturnValue::UNWRAP));
                case resumeAfter(RESOLVE_OPERAND):
                    s.fState = kFinished;
                    if (!s.operand) break;
                    if (fUnOp == UnOp::RETURN) {
                        retVal = s.operand->isReturnValue() ? s.operand : s.operand->wrapReturnValue();
                        break;
                    }
                    if (!isChanging()) {
                        retVal = OMNode::unaryOperation(fUnOp, static_cast<const IOMNode&>(*s.operand));
                        break;
                    }
                    if (scriptPhase == ScriptPhase::PARSE) break;
                    ASSIGN(s.target, expressionOf(fNode));
                    {
                        bool increment = fUnOp == UnOp::PRE_INC || fUnOp == UnOp::POST_INC;
                        ASSIGN(s.changed, OMNode::unaryOperation(increment ? UnOp::PRE_INC : UnOp::PRE_DEC,
                                                                 static_cast<const IOMNode&>(*s.operand)));
                    }
                    // The old value must outlive the store, which may write into the operand's node.
                    if (fUnOp == UnOp::POST_INC || fUnOp == UnOp::POST_DEC) {
                        s.operand = OMStored::factory(static_cast<const IOMNode&>(*s.operand));
                    }
                    s.fState = STORE;
                    break;
                    YIELDING_CALL(STORE,
                                  s.target->set_yielding(task, s.stored, s.changed, scope, scriptPhase));
                case resumeAfter(STORE):
                    s.fState = kFinished;
                    SANITY_CHECK(s.stored);
                    retVal = fUnOp == UnOp::POST_INC || fUnOp == UnOp::POST_DEC ? s.operand : s.changed;
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

void OMExpressionUnary::set_yielding(const std::shared_ptr<Task>&, bool& retVal, std::shared_ptr<IOMNode>&,
                                     const std::shared_ptr<OMScope>&, ScriptPhase)
{
    retVal = false;
    LOG_ERROR("setting value on unary expression");
}

}  // namespace Qfn
