// The operation registers the parser calls: each builds its expression and folds it to a value
// at once when it needs nothing from run time.
#include "QfnLogger/Check.h"
#include "QfnParser/expressions/OMExpressionBinary.h"
#include "QfnParser/expressions/OMExpressionKeyword.h"
#include "QfnParser/expressions/OMExpressionSequence.h"
#include "QfnParser/expressions/OMExpressionTernary.h"
#include "QfnParser/expressions/OMExpressionUnary.h"
#include "QfnParser/model/OMNode.h"
#include "QfnParser/model/OMScope.h"
#include "QfnParser/model/OMStored.h"
#include "QfnTask/YieldingFrame.h"

namespace Qfn {

namespace {

// Operators whose chains are kept flat: left to right, and not a loop, index, ternary or `=`.
bool isSequenceable(BinOp binOp)
{
    switch (binOp) {
        case BinOp::INDEX:
        case BinOp::TERNARY:
        case BinOp::ASSIGN:
        case BinOp::WHILE:
        case BinOp::DO_WHILE:
            return false;
        default:
            return true;
    }
}

// `a op b op c` becomes one sequence rather than nested binaries, so that a long script or sum
// stays shallow. The parser's trees are not shared until the parse ends, so a sequence still
// being built may grow in place.
std::shared_ptr<OMExpression> binaryExpression(BinOp binOp, const std::shared_ptr<IOMNode>& node1,
                                               const std::shared_ptr<IOMNode>& node2)
{
    std::shared_ptr<OMExpression> retVal;
    try {
        do {
            if (isSequenceable(binOp)) {
                auto left = OMExpression::expressionOf(node1);
                if (auto sequence = std::dynamic_pointer_cast<OMExpressionSequence>(left)) {
                    if (sequence->getBinOp() == binOp && sequence->getNodeCount() > 1) {
                        SANITY_CHECK(sequence->appendNode(node2));
                        retVal = sequence;
                        break;
                    }
                }
                auto binary = std::dynamic_pointer_cast<OMExpressionBinary>(left);
                if (binary && binary->getBinOp() == binOp) {
                    std::shared_ptr<OMExpressionSequence> fresh;
                    ASSIGN(fresh, OMExpressionSequence::factory(binOp));
                    SANITY_CHECK(fresh->appendNode(binary->getNode1()));
                    SANITY_CHECK(fresh->appendNode(binary->getNode2()));
                    SANITY_CHECK(fresh->appendNode(node2));
                    retVal = fresh;
                    break;
                }
            }
            retVal = OMExpressionBinary::factory(binOp, node1, node2);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// Evaluates a new expression at parse time; a value is the folded result, none leaves the
// expression as it is. Both end with retVal set, unless the tree is too deep to keep.
void foldExpression_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                             const std::shared_ptr<OMExpression>& expression)
{
    struct LocalVariableState : virtual OMFunctionState {
        std::shared_ptr<OMScope> scope;
        std::shared_ptr<IOMNode> value;
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
                    SANITY_CHECK(expression);
                    if (expression->getDepth() > OMExpression::kMaxExpressionDepth) {
                        LOG_ERROR("expression nested too deep");
                        break;
                    }
                    ASSIGN(s.scope, OMScope::scopeFactory());
                    s.fState = EVALUATE;
                    break;
                    YIELDING_CALL(EVALUATE, expression->get_yielding(task, s.value, AccessType::GET, s.scope,
                                                                     ScriptPhase::PARSE));
                case resumeAfter(EVALUATE):
                    s.fState = kFinished;
                    retVal = s.value ? std::move(s.value) : OMStored::factory(expression);
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

// Builds the expression on first entry (null when the operands do not allow it) and folds it.
template <class Build>
void buildAndFold_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                           const Build& build)
{
    struct LocalVariableState : virtual OMFunctionState {
        std::shared_ptr<OMExpression> expression;
    };
    enum : unsigned { FOLD = 1 };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) retVal = nullptr;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0:
                    s.fState = kFinished;
                    s.expression = build();
                    if (s.expression) s.fState = FOLD;
                    break;
                    YIELDING_CALL(FOLD, foldExpression_yielding(task, retVal, s.expression));
                case resumeAfter(FOLD):
                    s.fState = kFinished;
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

}  // namespace

void OMNode::registerBinaryOperation_yielding(const std::shared_ptr<Task>& task,
                                              std::shared_ptr<IOMNode>& retVal, BinOp binOp,
                                              const std::shared_ptr<IOMNode>& node1,
                                              const std::shared_ptr<IOMNode>& node2)
{
    buildAndFold_yielding(task, retVal, [&]() -> std::shared_ptr<OMExpression> {
        // Only a name, member, element or `var` can be assigned to.
        if (!node1 || !node2 || (binOp == BinOp::ASSIGN && !node1->isLValue())) return nullptr;
        return binaryExpression(binOp, node1, node2);
    });
}

void OMNode::registerUnaryOperation_yielding(const std::shared_ptr<Task>& task,
                                             std::shared_ptr<IOMNode>& retVal, UnOp unOp,
                                             const std::shared_ptr<IOMNode>& node)
{
    buildAndFold_yielding(task, retVal, [&]() -> std::shared_ptr<OMExpression> {
        if (!node) return nullptr;
        auto expression = OMExpressionUnary::factory(unOp, node);
        // ++ and -- change their operand, so it must be something that can be assigned.
        if (!expression || (expression->isChanging() && !node->isLValue())) return nullptr;
        return expression;
    });
}

void OMNode::registerTernaryOperation_yielding(const std::shared_ptr<Task>& task,
                                               std::shared_ptr<IOMNode>& retVal, TernOp ternOp,
                                               const std::shared_ptr<IOMNode>& node1,
                                               const std::shared_ptr<IOMNode>& node2,
                                               const std::shared_ptr<IOMNode>& node3)
{
    buildAndFold_yielding(task, retVal, [&]() -> std::shared_ptr<OMExpression> {
        if (!node1 || !node2 || !node3) return nullptr;
        return OMExpressionTernary::factory(ternOp, node1, node2, node3);
    });
}

// Keywords are never folded: they act at run time only.
void OMNode::registerKeywordOperation_yielding(const std::shared_ptr<Task>&, std::shared_ptr<IOMNode>& retVal,
                                               Token token)
{
    retVal = nullptr;
    try {
        do {
            std::shared_ptr<OMExpressionKeyword> expression;
            ASSIGN(expression, OMExpressionKeyword::factory(token));
            auto node = OMStored::undefinedFactory();
            SANITY_CHECK(node->set(std::static_pointer_cast<OMExpression>(expression)));
            retVal = node;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

void OMNode::registerVarOperation_yielding(const std::shared_ptr<Task>&, std::shared_ptr<IOMNode>& retVal,
                                           const std::string& name)
{
    retVal = nullptr;
    try {
        do {
            std::shared_ptr<OMExpressionKeyword> expression;
            ASSIGN(expression, OMExpressionKeyword::varFactory(name));
            auto node = OMStored::undefinedFactory();
            SANITY_CHECK(node->set(std::static_pointer_cast<OMExpression>(expression)));
            retVal = node;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

}  // namespace Qfn
