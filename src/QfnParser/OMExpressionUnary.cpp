#include "QfnParser/OMExpressionUnary.h"

#include <typeinfo>

#include "QfnLogger/Check.h"
#include "QfnParser/OMNode.h"
#include "QfnTask/YieldingFrame.h"

namespace Qfn {

std::shared_ptr<OMExpressionUnary> OMExpressionUnary::factory(UnOp unOp, const std::shared_ptr<IOMNode>& node)
{
    return std::shared_ptr<OMExpressionUnary>(new OMExpressionUnary(unOp, node));
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

// An expression operand shows its source text, any other its read-back form.
std::string OMExpressionUnary::toString() const
{
    std::string operand;
    if (fNode) {
        auto expression = fNode->getType() == OMType::Expression ? fNode->getExpression() : nullptr;
        operand = expression ? expression->toString() : fNode->toString();
    }
    return unOpToPrefixStr(fUnOp) + operand + unOpToSuffixStr(fUnOp);
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
    if (!fNode || !unary->fNode) return fNode == unary->fNode;
    return fNode->cmpOp_EQ(*unary->fNode);
}

// Unlike classes of expression keep an arbitrary but fixed order.
bool OMExpressionUnary::operator<(const OMExpression& other) const
{
    const auto* unary = dynamic_cast<const OMExpressionUnary*>(&other);
    if (!unary) return typeid(*this).before(typeid(other));
    if (fUnOp != unary->fUnOp) return fUnOp < unary->fUnOp;
    if (!fNode || !unary->fNode) return !fNode && unary->fNode;
    return fNode->cmpOp_LT(*unary->fNode);
}

bool OMExpressionUnary::scanForLocalVariables(const std::shared_ptr<FunctionSignature>& functionSignature,
                                              bool& inLocalSequence)
{
    auto expression = fNode && fNode->getType() == OMType::Expression ? fNode->getExpression() : nullptr;
    return expression ? expression->scanForLocalVariables(functionSignature, inLocalSequence) : true;
}

// The operand's value, then the operator over a temporary; `return` wraps the value itself.
void OMExpressionUnary::get_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                                     AccessType, const std::shared_ptr<OMScope>& scope,
                                     ScriptPhase scriptPhase)
{
    struct LocalVariableState : virtual OMFunctionState {
        std::shared_ptr<IOMNode> operand;
    };
    enum : unsigned { RESOLVE_OPERAND = 1 };

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
                    } else {
                        retVal = OMNode::unaryOperation(fUnOp, static_cast<const IOMNode&>(*s.operand));
                    }
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
    LOG_ERROR("unexpected l-value");
}

}  // namespace Qfn
