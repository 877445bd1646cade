#include "QfnParser/expressions/OMExpressionBinary.h"

#include "QfnLogger/Check.h"
#include "QfnParser/expressions/AtOnceCalls.h"
#include "QfnParser/expressions/OMExpressionLValueStr.h"
#include "QfnParser/expressions/OMExpressionSequence.h"
#include "QfnParser/model/OMNode.h"
#include "QfnParser/model/OMStored.h"
#include "QfnParser/model/Token.h"
#include "QfnTask/YieldingFrame.h"

namespace Qfn {

namespace {

// A statement's value that stops the statements after it.
bool isReturnMark(const std::shared_ptr<IOMNode>& node)
{
    return node && node->isReturnValue();
}
bool isBreakMark(const std::shared_ptr<IOMNode>& node)
{
    return node && node->isKeyword(Token::_break);
}

}  // namespace

std::shared_ptr<OMExpressionBinary> OMExpressionBinary::factory(BinOp binOp,
                                                                const std::shared_ptr<IOMNode>& node1,
                                                                const std::shared_ptr<IOMNode>& node2)
{
    std::shared_ptr<OMExpressionBinary> retVal;
    try {
        retVal.reset(new OMExpressionBinary(binOp, node1, node2));
        retVal->setDepthFrom(node1);
        retVal->setDepthFrom(node2);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

const char* OMExpressionBinary::binOpToPrefixStr(BinOp binOp)
{
    switch (binOp) {
        case BinOp::WHILE:
            return "while (";
        case BinOp::DO_WHILE:
            return "do {";
        default:
            return "";
    }
}

const char* OMExpressionBinary::binOpToInfixStr(BinOp binOp)
{
    switch (binOp) {
        case BinOp::INDEX:
            return "[";
        case BinOp::MUL:
            return " * ";
        case BinOp::DIV:
            return " / ";
        case BinOp::MOD:
            return " % ";
        case BinOp::ADD:
            return " + ";
        case BinOp::SUB:
            return " - ";
        case BinOp::SHL:
            return " << ";
        case BinOp::SHR:
            return " >> ";
        case BinOp::LT:
            return " < ";
        case BinOp::LE:
            return " <= ";
        case BinOp::GT:
            return " > ";
        case BinOp::GE:
            return " >= ";
        case BinOp::EQ:
            return " == ";
        case BinOp::IDENTICAL:
            return " === ";
        case BinOp::NOT_IDENTICAL:
            return " !== ";
        case BinOp::NE:
            return " != ";
        case BinOp::BIT_AND:
            return " & ";
        case BinOp::BIT_XOR:
            return " ^ ";
        case BinOp::BIT_OR:
            return " | ";
        case BinOp::AND:
            return " && ";
        case BinOp::OR:
            return " || ";
        case BinOp::ASSIGN:
            return " = ";
        case BinOp::COMMA:
            return ", ";
        case BinOp::SEMICOLON:
            return "; ";
        case BinOp::WHILE:
            return ") {";
        case BinOp::DO_WHILE:
            return "} while (";
        case BinOp::TERNARY:
            break;
    }
    LOG_ERROR("unexpected binOp");
    return "??";
}

const char* OMExpressionBinary::binOpToSuffixStr(BinOp binOp)
{
    switch (binOp) {
        case BinOp::INDEX:
            return "]";
        case BinOp::WHILE:
            return "}";
        case BinOp::DO_WHILE:
            return ")";
        default:
            return "";
    }
}

// Operands take parentheses where the parser would otherwise group them differently: the left
// one may share this operator's level (left to right), the right one must bind tighter, except
// for `=`, which groups right to left.
std::string OMExpressionBinary::toString() const
{
    const int level = static_cast<int>(fBinOp);
    const int assignment = static_cast<int>(BinOp::ASSIGN);
    std::string left;
    std::string right;
    switch (fBinOp) {
        case BinOp::WHILE:
            left = operandSourceText(fNode1, assignment);
            right = statementsText(fNode2);
            break;
        case BinOp::DO_WHILE:
            left = statementsText(fNode1);
            right = operandSourceText(fNode2, assignment);
            break;
        case BinOp::SEMICOLON:
            // A statement is anything up to `=`: a comma list goes in parentheses, a nested list in braces.
            left = operandSourceText(fNode1, assignment);
            right = operandSourceText(fNode2, assignment);
            break;
        case BinOp::INDEX:
            left = operandSourceText(fNode1, 0);
            right = operandSourceText(fNode2, assignment);
            break;
        case BinOp::ASSIGN:
            // `function f(...) {...}` assigns itself to its name: its text says so already.
            if (fNode2 && fNode2->getType() == OMType::Function && !fNode2->getFunctionName().empty() &&
                nodeSourceText(fNode1) == fNode2->getFunctionName()) {
                return nodeSourceText(fNode2);
            }
            left = operandSourceText(fNode1, 0);
            right = operandSourceText(fNode2, assignment);
            break;
        default:
            left = operandSourceText(fNode1, level);
            right = operandSourceText(fNode2, level - 1);
            break;
    }
    return binOpToPrefixStr(fBinOp) + left + binOpToInfixStr(fBinOp) + right + binOpToSuffixStr(fBinOp);
}

uint64_t OMExpressionBinary::hash() const
{
    uint64_t retVal = mixHash(0xCBF29CE484222325ull, static_cast<uint64_t>(fBinOp));
    retVal = mixHash(retVal, nodeHash(fNode1));
    return mixHash(retVal, nodeHash(fNode2));
}

bool OMExpressionBinary::operator==(const OMExpression& other) const
{
    const auto* otherBinary = dynamic_cast<const OMExpressionBinary*>(&other);
    return otherBinary && otherBinary->fBinOp == fBinOp && nodesEqual(fNode1, otherBinary->fNode1) &&
           nodesEqual(fNode2, otherBinary->fNode2);
}

bool OMExpressionBinary::operator<(const OMExpression& other) const
{
    const auto* otherBinary = dynamic_cast<const OMExpressionBinary*>(&other);
    if (!otherBinary) return isClassBefore(other);
    if (fBinOp != otherBinary->fBinOp) return fBinOp < otherBinary->fBinOp;
    if (nodesLess(fNode1, otherBinary->fNode1)) return true;
    if (nodesLess(otherBinary->fNode1, fNode1)) return false;
    return nodesLess(fNode2, otherBinary->fNode2);
}

bool OMExpressionBinary::scanForLocalVariables(const std::shared_ptr<FunctionSignature>& functionSignature,
                                               bool& inLocalSequence)
{
    bool retVal = true;
    for (const auto& node : {fNode1, fNode2}) {
        if (auto expression = expressionOf(node))
            retVal = expression->scanForLocalVariables(functionSignature, inLocalSequence) && retVal;
    }
    return retVal;
}

const std::vector<std::shared_ptr<IOMNode>>& OMExpressionBinary::loopStatements() const
{
    if (fLoopStatementsKnown) return fLoopStatements;
    try {
        fLoopStatementsKnown = true;
        const std::shared_ptr<OMExpression> body = expressionOf(fBinOp == BinOp::WHILE ? fNode2 : fNode1);
        if (auto list = std::dynamic_pointer_cast<OMExpressionBinary>(body)) {
            if (list->fBinOp == BinOp::SEMICOLON || list->fBinOp == BinOp::COMMA)
                fLoopStatements = {list->fNode1, list->fNode2};
        } else if (auto sequence = std::dynamic_pointer_cast<OMExpressionSequence>(body)) {
            if (sequence->getBinOp() == BinOp::SEMICOLON || sequence->getBinOp() == BinOp::COMMA) {
                for (uint64_t idx = 0; idx < sequence->getNodeCount(); ++idx)
                    fLoopStatements.push_back(sequence->getNode(idx));
            }
        }
    } catch (std::exception& e) {
        LOG_THROWS(e);
        fLoopStatements.clear();
    }
    return fLoopStatements;
}

// Evaluates the operands, or runs the loop. At parse time an operand without a value leaves
// both empty, and assignments and loops are not run at all.
void OMExpressionBinary::resolve_yielding(const std::shared_ptr<Task>& task, bool& retVal, AccessType,
                                          const std::shared_ptr<OMScope>& scope, ScriptPhase scriptPhase,
                                          OMExpressionBinaryResolution& resolution)
{
    struct LocalVariableState : virtual OMFunctionState {
        std::shared_ptr<IOMNode> condition;
        std::shared_ptr<IOMNode> body;
        size_t statementIdx = 0;
    };
    enum : unsigned {
        RESOLVE_LEFT = 1,
        RESOLVE_RIGHT,
        LOOP_CONDITION,
        LOOP_ENTER_BODY,
        LOOP_BODY,
        LOOP_STATEMENT,
        LOOP_AFTER_BODY,
        LOOP_AGAIN
    };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) retVal = false;
        LocalVariableState& s = *frame;
        const bool parsing = scriptPhase == ScriptPhase::PARSE;
        do {
            switch (s.fState) {
                case 0:
                    s.fState = kFinished;
                    SANITY_CHECK(scope);
                    resolution.clear();
                    if (parsing && (isLoop() || fBinOp == BinOp::ASSIGN)) {
                        retVal = true;
                        break;
                    }
                    if (isLoop()) {
                        resolution.fResolvedNode2 = OMStored::undefinedFactory();
                        s.fState = fBinOp == BinOp::WHILE ? LOOP_CONDITION : LOOP_ENTER_BODY;
                    } else {
                        s.fState = fBinOp == BinOp::ASSIGN ? RESOLVE_RIGHT : RESOLVE_LEFT;
                    }
                    break;

                    YIELDING_CALL(RESOLVE_LEFT, OMNode::getResolvedNode_yielding(
                                                    task, resolution.fResolvedNode1, AccessType::GET, fNode1,
                                                    scope, scriptPhase, HandleReturnValue::KEEP_WRAPPED));
                case resumeAfter(RESOLVE_LEFT):
                    s.fState = kFinished;
                    if (!resolution.fResolvedNode1) {
                        retVal = parsing;
                        break;
                    }
                    resolution.fIsReturn = isReturnMark(resolution.fResolvedNode1);
                    resolution.fIsBreak = isBreakMark(resolution.fResolvedNode1);
                    // A statement list stops at a `return` or `break`.
                    if ((resolution.fIsReturn || resolution.fIsBreak) &&
                        (fBinOp == BinOp::COMMA || fBinOp == BinOp::SEMICOLON)) {
                        retVal = true;
                        break;
                    }
                    s.fState = RESOLVE_RIGHT;
                    break;

                    YIELDING_CALL(RESOLVE_RIGHT, OMNode::getResolvedNode_yielding(
                                                     task, resolution.fResolvedNode2, AccessType::GET, fNode2,
                                                     scope, scriptPhase, HandleReturnValue::KEEP_WRAPPED));
                case resumeAfter(RESOLVE_RIGHT):
                    s.fState = kFinished;
                    if (!resolution.fResolvedNode2) {
                        retVal = parsing;
                        break;
                    }
                    resolution.fIsReturn = isReturnMark(resolution.fResolvedNode2);
                    resolution.fIsBreak = isBreakMark(resolution.fResolvedNode2);
                    retVal = true;
                    break;

                    YIELDING_CALL(LOOP_CONDITION, OMNode::getResolvedNode_yielding(
                                                      task, s.condition, AccessType::GET,
                                                      fBinOp == BinOp::WHILE ? fNode1 : fNode2, scope,
                                                      scriptPhase, HandleReturnValue::UNWRAP));
                case resumeAfter(LOOP_CONDITION):
                    s.fState = kFinished;
                    SANITY_CHECK(s.condition);
                    retVal = true;
                    if (s.condition->getAsBool()) s.fState = LOOP_ENTER_BODY;
                    s.condition.reset();
                    break;

                case LOOP_ENTER_BODY:
                    s.statementIdx = 0;
                    s.fState = loopStatements().empty() ? LOOP_BODY : LOOP_STATEMENT;
                    break;

                    // A list's statements in turn; a `return` or `break` ends the list with itself as value.
                    YIELDING_CALL(LOOP_STATEMENT,
                                  OMNode::getResolvedNode_yielding(
                                      task, s.body, AccessType::GET, loopStatements()[s.statementIdx], scope,
                                      scriptPhase, HandleReturnValue::KEEP_WRAPPED));
                case resumeAfter(LOOP_STATEMENT):
                    s.fState = LOOP_AFTER_BODY;
                    if (!s.body) {
                        LOG_ERROR("sequence element has no value");
                        break;
                    }
                    if (isReturnMark(s.body) || isBreakMark(s.body)) break;
                    if (++s.statementIdx < loopStatements().size()) s.fState = LOOP_STATEMENT;
                    break;

                    YIELDING_CALL(LOOP_BODY,
                                  OMNode::getResolvedNode_yielding(
                                      task, s.body, AccessType::GET, fBinOp == BinOp::WHILE ? fNode2 : fNode1,
                                      scope, scriptPhase, HandleReturnValue::KEEP_WRAPPED));
                case resumeAfter(LOOP_BODY):
                case LOOP_AFTER_BODY:
                    s.fState = kFinished;
                    SANITY_CHECK(s.body);
                    retVal = true;
                    // `break` ends the loop and is spent; `return` ends it and travels on.
                    if (isBreakMark(s.body)) break;
                    resolution.fResolvedNode2 = std::move(s.body);
                    if (isReturnMark(resolution.fResolvedNode2)) {
                        resolution.fIsReturn = true;
                        break;
                    }
                    retVal = false;
                    s.fState = LOOP_AGAIN;
                    break;
                case LOOP_AGAIN:
                    // Both loops test their condition after each body.
                    s.fState = LOOP_CONDITION;
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

void OMExpressionBinary::get_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                                      AccessType accessType, const std::shared_ptr<OMScope>& scope,
                                      ScriptPhase scriptPhase)
{
    struct LocalVariableState : virtual OMFunctionState {
        bool success = false;
        OMExpressionBinaryResolution resolution;
        std::shared_ptr<OMExpression> target;
        bool stored = false;
    };
    enum : unsigned { RESOLVE = 1, STORE };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) retVal = nullptr;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0:
                    s.fState = kFinished;
                    SANITY_CHECK(scope);
                    s.fState = RESOLVE;
                    break;

                    YIELDING_CALL(RESOLVE, resolve_yielding(task, s.success, accessType, scope, scriptPhase,
                                                            s.resolution));
                case resumeAfter(RESOLVE): {
                    s.fState = kFinished;
                    SANITY_CHECK(s.success);
                    OMExpressionBinaryResolution& resolution = s.resolution;
                    if (scriptPhase == ScriptPhase::PARSE &&
                        (!resolution.fResolvedNode1 || !resolution.fResolvedNode2))
                        break;
                    if (isLoop()) {
                        retVal = std::move(resolution.fResolvedNode2);
                        break;
                    }
                    if (fBinOp == BinOp::COMMA || fBinOp == BinOp::SEMICOLON) {
                        retVal = (resolution.fIsReturn || resolution.fIsBreak) && !resolution.fResolvedNode2
                                     ? std::move(resolution.fResolvedNode1)
                                     : std::move(resolution.fResolvedNode2);
                        break;
                    }
                    if (fBinOp == BinOp::ASSIGN) {
                        ASSIGN(s.target, expressionOf(fNode1));
                        SANITY_CHECK(resolution.fResolvedNode2);
                        resolution.fResolvedNode2 = resolution.fResolvedNode2->unwrapReturnValue();
                        s.fState = STORE;
                        break;
                    }
                    NodeReuse reuse1 = OMNode::reuseOf(resolution.fResolvedNode1);
                    NodeReuse reuse2 = OMNode::reuseOf(resolution.fResolvedNode2);
                    retVal = OMNode::binaryOperation(fBinOp, resolution.fResolvedNode1, reuse1,
                                                     resolution.fResolvedNode2, reuse2, scope);
                    if (!retVal) LOG_ERROR("binary operation failed");
                    resolution.clear();
                    break;
                }

                    YIELDING_CALL(STORE, s.target->set_yielding(task, s.stored, s.resolution.fResolvedNode2,
                                                                scope, scriptPhase));
                case resumeAfter(STORE):
                    s.fState = kFinished;
                    SANITY_CHECK(s.stored);
                    retVal = std::move(s.resolution.fResolvedNode2);
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

// Loops and statement lists take turns with other tasks; an operation or an assignment of
// operands that cannot suspend is done at once.
bool OMExpressionBinary::computeAtOnce(AtOnceMode mode) const
{
    if (isLoop()) return false;
    if (isStatementList() && mode != AtOnceMode::WITH_CALLS) return false;
    if (fBinOp == BinOp::ASSIGN) {
        const std::shared_ptr<OMExpression> target = expressionOf(fNode1);
        return target && target->isSettableAtOnce(mode) && OMNode::isResolvableAtOnce(fNode2, mode);
    }
    return OMNode::isResolvableAtOnce(fNode1, mode) && OMNode::isResolvableAtOnce(fNode2, mode);
}

// Inlined into both callers: it runs for every assignment evaluated at once (a call cost 1% of a loop).
[[gnu::always_inline]] inline bool OMExpressionBinary::storeAtOnce(const std::shared_ptr<OMScope>& scope,
                                                                   std::shared_ptr<IOMNode>& value,
                                                                   std::shared_ptr<IOMNode>& retVal)
{
    try {
        do {
            SANITY_CHECK(value);
            if (value->isReturnValue()) value = value->unwrapReturnValue();
            SANITY_CHECK(value);
            OMExpression* place = fNode1 ? fNode1->getExpression().get() : nullptr;
            SANITY_CHECK(place);
            bool stored = false;
            if (!place->setAtOnce(scope, value, stored)) return false;
            SANITY_CHECK(stored);
            retVal = std::move(value);
            return true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    retVal.reset();
    return true;
}

// The steps of get_yielding in one go. Reads come first, so that giving up leaves nothing done.
bool OMExpressionBinary::getAtOnce(const std::shared_ptr<OMScope>& scope, std::shared_ptr<IOMNode>& retVal)
{
    try {
        do {
            std::shared_ptr<IOMNode> right;
            if (fBinOp == BinOp::ASSIGN) {
                if (appendAtOnce(scope, retVal)) return true;
                if (!OMNode::getResolvedNodeAtOnce(fNode2, scope, HandleReturnValue::KEEP_WRAPPED, right))
                    return false;
                return storeAtOnce(scope, right, retVal);
            }
            std::shared_ptr<IOMNode> left;
            if (!OMNode::getResolvedNodeAtOnce(fNode1, scope, HandleReturnValue::KEEP_WRAPPED, left))
                return false;
            if (isStatementList()) {
                // The second statement runs unless the first has none or ends the list.
                if (left && (isReturnMark(left) || isBreakMark(left))) {
                    retVal = std::move(left);
                    return true;
                }
                if (left &&
                    !OMNode::getResolvedNodeAtOnce(fNode2, scope, HandleReturnValue::KEEP_WRAPPED, right))
                    return false;
                SANITY_CHECK(left && right);
                retVal = std::move(right);
                return true;
            }
            // A left operand that failed ends the operation before the right one runs, as resumably.
            SANITY_CHECK(left);
            if (!OMNode::getResolvedNodeAtOnce(fNode2, scope, HandleReturnValue::KEEP_WRAPPED, right))
                return false;
            SANITY_CHECK(right);
            const NodeReuse reuse1 = OMNode::reuseOf(left);
            const NodeReuse reuse2 = OMNode::reuseOf(right);
            retVal = OMNode::binaryOperation(fBinOp, left, reuse1, right, reuse2, scope);
            if (!retVal) LOG_ERROR("binary operation failed");
            return true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    retVal.reset();
    return true;
}

const OMExpressionBinary* OMExpressionBinary::appendedSum() const
{
    if (fAppendedSumKnown) return fAppendedSum;
    fAppendedSumKnown = true;
    const std::shared_ptr<OMExpression> target = expressionOf(fNode1);
    const std::shared_ptr<OMExpression> value = expressionOf(fNode2);
    const auto* sum = dynamic_cast<const OMExpressionBinary*>(value.get());
    // Only a name or a member chain: reading it has no effect, so it may be read for the test.
    if (!sum || sum->fBinOp != BinOp::ADD || !dynamic_cast<const OMExpressionLValueStr*>(target.get()))
        return nullptr;
    const std::shared_ptr<OMExpression> left = expressionOf(sum->fNode1);
    if (left && *left == *target) fAppendedSum = sum;
    return fAppendedSum;
}

bool OMExpressionBinary::appendAtOnce(const std::shared_ptr<OMScope>& scope, std::shared_ptr<IOMNode>& retVal)
{
    const OMExpressionBinary* sum = appendedSum();
    if (!sum) return false;
    // Reads first, as the general way does, so that giving up leaves nothing done.
    std::shared_ptr<IOMNode> target;
    if (!OMNode::getResolvedNodeAtOnce(sum->fNode1, scope, HandleReturnValue::KEEP_WRAPPED, target))
        return false;
    std::shared_ptr<IOMNode> rest;
    if (!OMNode::getResolvedNodeAtOnce(sum->fNode2, scope, HandleReturnValue::KEEP_WRAPPED, rest))
        return false;
    try {
        do {
            SANITY_CHECK(target && rest);
            // Inside an attempt of calls at once a store must go through the place, which checks it.
            OMStored* stored = AtOnceCalls::mode() == AtOnceMode::PLAIN ? target->asPlainStored() : nullptr;
            if (stored && stored->isPlainString() && rest->getType() != OMType::Error) {
                stored->appendString(rest->getAsString());
                retVal = std::move(target);
                return true;
            }
            // Any other sum is computed as the operator computes it, then stored in the place.
            const NodeReuse reuse1 = OMNode::reuseOf(target);
            const NodeReuse reuse2 = OMNode::reuseOf(rest);
            std::shared_ptr<IOMNode> value =
                OMNode::binaryOperation(BinOp::ADD, target, reuse1, rest, reuse2, scope);
            if (!value) LOG_ERROR("binary operation failed");
            return storeAtOnce(scope, value, retVal);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    retVal.reset();
    return true;
}

// Only an index names a place: `a[i] = v` through a binary node stores into the element.
void OMExpressionBinary::set_yielding(const std::shared_ptr<Task>& task, bool& retVal,
                                      std::shared_ptr<IOMNode>& value, const std::shared_ptr<OMScope>& scope,
                                      ScriptPhase scriptPhase)
{
    struct LocalVariableState : virtual OMFunctionState {
        std::shared_ptr<IOMNode> place;
    };
    enum : unsigned { RESOLVE = 1 };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) retVal = false;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0:
                    s.fState = kFinished;
                    SANITY_CHECK(value);
                    if (fBinOp != BinOp::INDEX) {
                        LOG_ERROR("setting value on binary expression");
                        break;
                    }
                    s.fState = RESOLVE;
                    break;
                    YIELDING_CALL(RESOLVE,
                                  get_yielding(task, s.place, AccessType::GET_CREATE, scope, scriptPhase));
                case resumeAfter(RESOLVE):
                    s.fState = kFinished;
                    SANITY_CHECK(s.place);
                    s.place->set(value);
                    retVal = true;
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

}  // namespace Qfn
