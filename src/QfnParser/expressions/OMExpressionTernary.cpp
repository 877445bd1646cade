#include "QfnParser/expressions/OMExpressionTernary.h"

#include "QfnLogger/Check.h"
#include "QfnParser/model/OMNode.h"
#include "QfnParser/model/OMStored.h"
#include "QfnTask/YieldingFrame.h"

namespace Qfn {

std::shared_ptr<OMExpressionTernary> OMExpressionTernary::factory(TernOp ternOp,
                                                                  const std::shared_ptr<IOMNode>& node1,
                                                                  const std::shared_ptr<IOMNode>& node2,
                                                                  const std::shared_ptr<IOMNode>& node3)
{
    std::shared_ptr<OMExpressionTernary> retVal;
    try {
        retVal.reset(new OMExpressionTernary(ternOp, node1, node2, node3));
        retVal->setDepthFrom(node1);
        retVal->setDepthFrom(node2);
        retVal->setDepthFrom(node3);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string OMExpressionTernary::toString() const
{
    const int assignment = static_cast<int>(BinOp::ASSIGN);
    switch (fTernOp) {
        case TernOp::IF:
            return "if (" + operandSourceText(fNode1, assignment) + ") {" + statementsText(fNode2) +
                   "} else {" + statementsText(fNode3) + "}";
        case TernOp::CONDITIONAL:
            return operandSourceText(fNode1, static_cast<int>(BinOp::OR)) + " ? " +
                   operandSourceText(fNode2, static_cast<int>(BinOp::OR)) + " : " +
                   operandSourceText(fNode3, assignment);
    }
    LOG_ERROR("unexpected ternOp");
    return "??";
}

uint64_t OMExpressionTernary::hash() const
{
    uint64_t retVal = mixHash(0xCBF29CE484222325ull, static_cast<uint64_t>(fTernOp));
    for (const auto& node : {fNode1, fNode2, fNode3})
        retVal = mixHash(retVal, nodeHash(node));
    return retVal;
}

bool OMExpressionTernary::operator==(const OMExpression& other) const
{
    const auto* otherTernary = dynamic_cast<const OMExpressionTernary*>(&other);
    return otherTernary && otherTernary->fTernOp == fTernOp && nodesEqual(fNode1, otherTernary->fNode1) &&
           nodesEqual(fNode2, otherTernary->fNode2) && nodesEqual(fNode3, otherTernary->fNode3);
}

bool OMExpressionTernary::operator<(const OMExpression& other) const
{
    const auto* otherTernary = dynamic_cast<const OMExpressionTernary*>(&other);
    if (!otherTernary) return isClassBefore(other);
    if (fTernOp != otherTernary->fTernOp) return fTernOp < otherTernary->fTernOp;
    const std::shared_ptr<IOMNode>* mine[] = {&fNode1, &fNode2, &fNode3};
    const std::shared_ptr<IOMNode>* theirs[] = {&otherTernary->fNode1, &otherTernary->fNode2,
                                                &otherTernary->fNode3};
    for (int i = 0; i < 3; ++i) {
        if (nodesLess(*mine[i], *theirs[i])) return true;
        if (nodesLess(*theirs[i], *mine[i])) return false;
    }
    return false;
}

bool OMExpressionTernary::scanForLocalVariables(const std::shared_ptr<FunctionSignature>& functionSignature,
                                                bool& inLocalSequence)
{
    bool retVal = true;
    for (const auto& node : {fNode1, fNode2, fNode3}) {
        if (auto expression = expressionOf(node))
            retVal = expression->scanForLocalVariables(functionSignature, inLocalSequence) && retVal;
    }
    return retVal;
}

// The condition, then exactly one of the two values. At parse time a condition without a value
// leaves the choice open.
void OMExpressionTernary::resolve_yielding(const std::shared_ptr<Task>& task, bool& retVal,
                                           AccessType accessType, const std::shared_ptr<OMScope>& scope,
                                           ScriptPhase scriptPhase, OMExpressionTernaryResolution& resolution)
{
    struct LocalVariableState : virtual OMFunctionState {
        std::shared_ptr<IOMNode> chosen;
    };
    enum : unsigned { RESOLVE_CONDITION = 1, RESOLVE_VALUE };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) retVal = false;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0:
                    s.fState = kFinished;
                    SANITY_CHECK(scope);
                    resolution.clear();
                    if (fTernOp != TernOp::IF && fTernOp != TernOp::CONDITIONAL) {
                        LOG_ERROR("unexpected ternary operator");
                        break;
                    }
                    s.fState = RESOLVE_CONDITION;
                    break;
                    YIELDING_CALL(RESOLVE_CONDITION,
                                  OMNode::getResolvedNode_yielding(task, resolution.fResolvedNode1,
                                                                   AccessType::GET, fNode1, scope,
                                                                   scriptPhase, HandleReturnValue::UNWRAP));
                case resumeAfter(RESOLVE_CONDITION):
                    s.fState = kFinished;
                    if (!resolution.fResolvedNode1) {
                        retVal = scriptPhase == ScriptPhase::PARSE;
                        break;
                    }
                    s.chosen = resolution.fResolvedNode1->getAsBool() ? fNode2 : fNode3;
                    s.fState = RESOLVE_VALUE;
                    break;
                    YIELDING_CALL(RESOLVE_VALUE, OMNode::getResolvedNode_yielding(
                                                     task, resolution.fResolvedValue, accessType, s.chosen,
                                                     scope, scriptPhase, HandleReturnValue::KEEP_WRAPPED));
                case resumeAfter(RESOLVE_VALUE):
                    s.fState = kFinished;
                    retVal = resolution.fResolvedValue || scriptPhase == ScriptPhase::PARSE;
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

void OMExpressionTernary::get_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                                       AccessType accessType, const std::shared_ptr<OMScope>& scope,
                                       ScriptPhase scriptPhase)
{
    struct LocalVariableState : virtual OMFunctionState {
        bool success = false;
        OMExpressionTernaryResolution resolution;
    };
    enum : unsigned { RESOLVE = 1 };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) retVal = nullptr;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0:
                    s.fState = RESOLVE;
                    break;
                    YIELDING_CALL(RESOLVE, resolve_yielding(task, s.success, accessType, scope, scriptPhase,
                                                            s.resolution));
                case resumeAfter(RESOLVE):
                    s.fState = kFinished;
                    SANITY_CHECK(s.success);
                    retVal = std::move(s.resolution.fResolvedValue);
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

bool OMExpressionTernary::computeAtOnce(AtOnceMode mode) const
{
    return (fTernOp == TernOp::IF || fTernOp == TernOp::CONDITIONAL) &&
           OMNode::isResolvableAtOnce(fNode1, mode) && OMNode::isResolvableAtOnce(fNode2, mode) &&
           OMNode::isResolvableAtOnce(fNode3, mode);
}

// The steps of get_yielding in one go: the condition, then the branch it chooses.
bool OMExpressionTernary::getAtOnce(const std::shared_ptr<OMScope>& scope, std::shared_ptr<IOMNode>& retVal)
{
    try {
        do {
            std::shared_ptr<IOMNode> condition;
            if (!OMNode::getResolvedNodeAtOnce(fNode1, scope, HandleReturnValue::UNWRAP, condition))
                return false;
            SANITY_CHECK(condition);
            std::shared_ptr<IOMNode> value;
            if (!OMNode::getResolvedNodeAtOnce(condition->getAsBool() ? fNode2 : fNode3, scope,
                                               HandleReturnValue::KEEP_WRAPPED, value))
                return false;
            SANITY_CHECK(value);
            retVal = std::move(value);
            return true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    retVal.reset();
    return true;
}

void OMExpressionTernary::set_yielding(const std::shared_ptr<Task>&, bool& retVal, std::shared_ptr<IOMNode>&,
                                       const std::shared_ptr<OMScope>&, ScriptPhase)
{
    retVal = false;
    LOG_ERROR("setting value on ternary");
}

}  // namespace Qfn
