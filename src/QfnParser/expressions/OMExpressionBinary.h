#pragma once

#include <memory>
#include <vector>

#include "QfnParser/expressions/OMExpression.h"

namespace Qfn {

// What resolving a binary expression leaves for its evaluation.
struct OMExpressionBinaryResolution {
    bool fTargetIsReference = false;  // assignment to a `reference(...)` target
    std::shared_ptr<IOMNode> fResolvedNode1;
    std::shared_ptr<IOMNode> fResolvedNode2;
    bool fIsReturn = false;
    bool fIsBreak = false;

    void clear() { *this = OMExpressionBinaryResolution(); }
};

// Two operands and an operator; also the loops (`while`, `do`) and statement lists.
class OMExpressionBinary : public OMExpression {
public:
    static std::shared_ptr<OMExpressionBinary> factory(BinOp binOp, const std::shared_ptr<IOMNode>& node1,
                                                       const std::shared_ptr<IOMNode>& node2);

    void get_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                      AccessType accessType, const std::shared_ptr<OMScope>& scope,
                      ScriptPhase scriptPhase) override;
    void set_yielding(const std::shared_ptr<Task>& task, bool& retVal, std::shared_ptr<IOMNode>& value,
                      const std::shared_ptr<OMScope>& scope, ScriptPhase scriptPhase) override;
    bool getAtOnce(const std::shared_ptr<OMScope>& scope, std::shared_ptr<IOMNode>& retVal) override;
    void resolve_yielding(const std::shared_ptr<Task>& task, bool& retVal, AccessType accessType,
                          const std::shared_ptr<OMScope>& scope, ScriptPhase scriptPhase,
                          OMExpressionBinaryResolution& resolution);
    std::string toString() const override;
    uint64_t hash() const override;
    bool operator==(const OMExpression& other) const override;
    bool operator<(const OMExpression& other) const override;
    bool scanForLocalVariables(const std::shared_ptr<FunctionSignature>& functionSignature,
                               bool& inLocalSequence) override;
    // Loops read as whole statements, delimited by their own keywords and braces.
    int getBindingLevel() const override { return isLoop() ? 0 : static_cast<int>(fBinOp); }

    BinOp getBinOp() const { return fBinOp; }
    // Statements separated by `;` or `,`: a `return` or `break` ends the list.
    bool isStatementList() const { return fBinOp == BinOp::SEMICOLON || fBinOp == BinOp::COMMA; }
    const std::shared_ptr<IOMNode>& getNode1() const { return fNode1; }
    const std::shared_ptr<IOMNode>& getNode2() const { return fNode2; }

    static const char* binOpToPrefixStr(BinOp binOp);
    static const char* binOpToInfixStr(BinOp binOp);
    static const char* binOpToSuffixStr(BinOp binOp);

protected:
    bool computeAtOnce(AtOnceMode mode) const override;

private:
    OMExpressionBinary(BinOp binOp, std::shared_ptr<IOMNode> node1, std::shared_ptr<IOMNode> node2)
        : fBinOp(binOp), fNode1(std::move(node1)), fNode2(std::move(node2))
    {
    }
    bool isLoop() const { return fBinOp == BinOp::WHILE || fBinOp == BinOp::DO_WHILE; }
    // The statements of a loop's body when it is a list: the loop runs them itself, one a step,
    // instead of entering the list anew on every round. Empty for any other body.
    const std::vector<std::shared_ptr<IOMNode>>& loopStatements() const;

    BinOp fBinOp;
    std::shared_ptr<IOMNode> fNode1;
    std::shared_ptr<IOMNode> fNode2;
    // `s = s + rest` (and so `s += rest`): the sum whose left operand is this assignment's target,
    // found once; null for any other assignment.
    const OMExpressionBinary* appendedSum() const;
    // Stores the assignment's value (a return value unwrapped) in its place at once; false, with
    // nothing stored, when the place must be written the resumable way.
    bool storeAtOnce(const std::shared_ptr<OMScope>& scope, std::shared_ptr<IOMNode>& value,
                     std::shared_ptr<IOMNode>& retVal);
    // Evaluates such an assignment with one read of the target: a plain string grows in place, so
    // that a string grown in a loop costs amortised constant time per step; any other sum is stored
    // as the general way stores it. False, with nothing done, when the general way must run.
    bool appendAtOnce(const std::shared_ptr<OMScope>& scope, std::shared_ptr<IOMNode>& retVal);

    mutable const OMExpressionBinary* fAppendedSum = nullptr;
    mutable bool fAppendedSumKnown = false;
    mutable std::vector<std::shared_ptr<IOMNode>> fLoopStatements;
    mutable bool fLoopStatementsKnown = false;
};

}  // namespace Qfn
