#include "QfnParser/expressions/OMExpressionSequence.h"

#include "QfnLogger/Check.h"
#include "QfnParser/expressions/OMExpressionBinary.h"
#include "QfnParser/model/OMNode.h"
#include "QfnParser/model/OMStored.h"
#include "QfnParser/model/Token.h"
#include "QfnTask/YieldingFrame.h"

namespace Qfn {

std::shared_ptr<OMExpressionSequence> OMExpressionSequence::factory(BinOp binOp)
{
    std::shared_ptr<OMExpressionSequence> retVal;
    try {
        do {
            SANITY_CHECK(binOp != BinOp::ASSIGN);
            retVal.reset(new OMExpressionSequence(binOp));
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool OMExpressionSequence::appendNode(const std::shared_ptr<IOMNode>& node)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(node);
            fNodeSequence->push_back(node);
            setDepthFrom(node);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<IOMNode> OMExpressionSequence::getNode(uint64_t idx) const
{
    return idx < fNodeSequence->size() ? (*fNodeSequence)[idx] : nullptr;
}

int OMExpressionSequence::getBindingLevel() const
{
    if (fNodeSequence->size() == 1) {
        auto expression = expressionOf(fNodeSequence->front());
        return expression ? expression->getBindingLevel() : 0;
    }
    return static_cast<int>(fBinOp);
}

std::string OMExpressionSequence::toString() const
{
    const int level = static_cast<int>(fBinOp);
    std::string retVal;
    for (size_t i = 0; i < fNodeSequence->size(); ++i) {
        if (i > 0) retVal += OMExpressionBinary::binOpToInfixStr(fBinOp);
        // Statements take anything up to `=`; other operators their own level on the left.
        int maxLevel =
            fBinOp == BinOp::SEMICOLON ? static_cast<int>(BinOp::ASSIGN) : (i == 0 ? level : level - 1);
        retVal += operandSourceText((*fNodeSequence)[i], maxLevel);
    }
    return retVal;
}

uint64_t OMExpressionSequence::hash() const
{
    uint64_t retVal = mixHash(0x84222325CBF29CE4ull, static_cast<uint64_t>(fBinOp));
    for (const auto& node : *fNodeSequence)
        retVal = mixHash(retVal, nodeHash(node));
    return retVal;
}

bool OMExpressionSequence::operator==(const OMExpression& other) const
{
    const auto* otherSequence = dynamic_cast<const OMExpressionSequence*>(&other);
    if (!otherSequence || otherSequence->fBinOp != fBinOp ||
        otherSequence->fNodeSequence->size() != fNodeSequence->size())
        return false;
    for (size_t i = 0; i < fNodeSequence->size(); ++i)
        if (!nodesEqual((*fNodeSequence)[i], (*otherSequence->fNodeSequence)[i])) return false;
    return true;
}

bool OMExpressionSequence::operator<(const OMExpression& other) const
{
    const auto* otherSequence = dynamic_cast<const OMExpressionSequence*>(&other);
    if (!otherSequence) return isClassBefore(other);
    if (fBinOp != otherSequence->fBinOp) return fBinOp < otherSequence->fBinOp;
    const auto& mine = *fNodeSequence;
    const auto& theirs = *otherSequence->fNodeSequence;
    for (size_t i = 0; i < mine.size() && i < theirs.size(); ++i) {
        if (nodesLess(mine[i], theirs[i])) return true;
        if (nodesLess(theirs[i], mine[i])) return false;
    }
    return mine.size() < theirs.size();
}

bool OMExpressionSequence::scanForLocalVariables(const std::shared_ptr<FunctionSignature>& functionSignature,
                                                 bool& inLocalSequence)
{
    bool retVal = true;
    for (const auto& node : *fNodeSequence) {
        if (auto expression = expressionOf(node))
            retVal = expression->scanForLocalVariables(functionSignature, inLocalSequence) && retVal;
    }
    return retVal;
}

// Walks the nodes in order, folding each value into the result. In a statement list a `return`
// or `break` ends the walk and travels on with the value.
void OMExpressionSequence::get_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                                        AccessType, const std::shared_ptr<OMScope>& scope,
                                        ScriptPhase scriptPhase)
{
    struct LocalVariableState : virtual OMFunctionState {
        OMExpressionSequenceResolution resolution;
        std::shared_ptr<IOMNode> value;
    };
    enum : unsigned { NEXT = 1, RESOLVE_NODE };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) retVal = nullptr;
        LocalVariableState& s = *frame;
        const bool statements = fBinOp == BinOp::SEMICOLON || fBinOp == BinOp::COMMA;
        do {
            switch (s.fState) {
                case 0:
                    s.fState = kFinished;
                    SANITY_CHECK(fBinOp != BinOp::ASSIGN);
                    SANITY_CHECK(scope);
                    s.resolution.clear();
                    s.fState = NEXT;
                    break;
                case NEXT:
                    if (s.resolution.fIdx >= fNodeSequence->size()) {
                        retVal = std::move(s.resolution.fResult);
                        s.fState = kFinished;
                        break;
                    }
                    s.fState = RESOLVE_NODE;
                    break;
                    YIELDING_CALL(RESOLVE_NODE,
                                  OMNode::getResolvedNode_yielding(
                                      task, s.value, AccessType::GET, getNode(s.resolution.fIdx), scope,
                                      scriptPhase, HandleReturnValue::KEEP_WRAPPED));
                case resumeAfter(RESOLVE_NODE):
                    s.fState = kFinished;
                    if (!s.value) {
                        if (scriptPhase != ScriptPhase::PARSE) LOG_ERROR("sequence element has no value");
                        break;
                    }
                    if (statements && (s.value->isReturnValue() || s.value->isKeyword(Token::_break))) {
                        retVal = std::move(s.value);
                        break;
                    }
                    if (s.resolution.fIdx == 0 || statements) {
                        s.resolution.fResult = std::move(s.value);
                    } else {
                        NodeReuse reuse = OMNode::reuseOf(s.resolution.fResult);
                        s.resolution.fResult = OMNode::binaryOperation(fBinOp, s.resolution.fResult, reuse,
                                                                       s.value, NodeReuse::NO_REUSE, scope);
                        s.value.reset();
                        SANITY_CHECK(s.resolution.fResult);
                    }
                    ++s.resolution.fIdx;
                    s.fState = NEXT;
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

// A chain of operators over operands that cannot suspend is computed at once; statement lists
// take turns with other tasks, except inside a function called at once.
bool OMExpressionSequence::computeAtOnce(AtOnceMode mode) const
{
    if (fBinOp == BinOp::ASSIGN) return false;
    if (isStatementList() && mode != AtOnceMode::WITH_CALLS) return false;
    return OMNode::isEachResolvableAtOnce(fNodeSequence, mode);
}

// The steps of get_yielding in one go; only temporaries are made before the end.
bool OMExpressionSequence::getAtOnce(const std::shared_ptr<OMScope>& scope, std::shared_ptr<IOMNode>& retVal)
{
    try {
        do {
            std::shared_ptr<IOMNode> result;
            std::shared_ptr<IOMNode> value;
            bool failed = false;
            const bool statements = isStatementList();
            for (size_t idx = 0; idx < fNodeSequence->size() && !failed; ++idx) {
                if (!OMNode::getResolvedNodeAtOnce((*fNodeSequence)[idx], scope,
                                                   HandleReturnValue::KEEP_WRAPPED, value))
                    return false;
                if (!value) {
                    LOG_ERROR("sequence element has no value");
                    failed = true;
                } else if (statements && (value->isReturnValue() || value->isKeyword(Token::_break))) {
                    retVal = std::move(value);
                    return true;
                } else if (idx == 0 || statements) {
                    result = std::move(value);
                } else {
                    const NodeReuse reuse = OMNode::reuseOf(result);
                    result =
                        OMNode::binaryOperation(fBinOp, result, reuse, value, NodeReuse::NO_REUSE, scope);
                    value.reset();
                    failed = !result;
                    SANITY_CHECK(result);
                }
            }
            if (failed) break;
            retVal = std::move(result);
            return true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    retVal.reset();
    return true;
}

void OMExpressionSequence::set_yielding(const std::shared_ptr<Task>&, bool& retVal, std::shared_ptr<IOMNode>&,
                                        const std::shared_ptr<OMScope>&, ScriptPhase)
{
    retVal = false;
    LOG_ERROR("setting value on sequence");
}

}  // namespace Qfn
