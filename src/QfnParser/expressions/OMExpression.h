#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "QfnParser/Forward.h"
#include "QfnParser/model/AccessType.h"
#include "QfnParser/model/Operators.h"

namespace Qfn {

class Task;

// A node of a parsed script's tree. Concrete expressions (binary, unary, ternary, sequences,
// l-values, keywords) come with the parser; the object model sees them only through this base.
class OMExpression : public std::enable_shared_from_this<OMExpression> {
public:
    virtual ~OMExpression() = default;

    virtual void get_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                              AccessType accessType, const std::shared_ptr<OMScope>& scope,
                              ScriptPhase scriptPhase) = 0;
    virtual void set_yielding(const std::shared_ptr<Task>& task, bool& retVal,
                              std::shared_ptr<IOMNode>& value, const std::shared_ptr<OMScope>& scope,
                              ScriptPhase scriptPhase) = 0;
    // The expression's own source text.
    virtual std::string toString() const = 0;
    virtual uint64_t hash() const = 0;
    virtual bool operator==(const OMExpression& other) const = 0;
    virtual bool operator<(const OMExpression& other) const = 0;
    virtual bool scanForLocalVariables(const std::shared_ptr<FunctionSignature>& functionSignature,
                                       bool& inLocalSequence) = 0;

    bool operator!=(const OMExpression& other) const { return !(*this == other); }
    bool operator<=(const OMExpression& other) const { return *this < other || *this == other; }
    bool operator>(const OMExpression& other) const { return !(*this <= other); }
    bool operator>=(const OMExpression& other) const { return !(*this < other); }

    void get_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                      const std::shared_ptr<OMScope>& scope);

    // The binding level of the expression's own operator, for the parentheses its text needs as
    // an operand: 0 binds tightest (names, calls, constants); see BinOp for the others.
    virtual int getBindingLevel() const { return 0; }
    // The node as source text: expressions and functions as code, containers member by member.
    static std::string nodeSourceText(const std::shared_ptr<IOMNode>& node);
    // The same, in parentheses when the node's operator binds looser than maxLevel allows.
    static std::string operandSourceText(const std::shared_ptr<IOMNode>& node, int maxLevel);
    // The text of a block's contents, between braces: statements as they are, anything looser than
    // `=` (a bare comma list) in parentheses.
    static std::string statementsText(const std::shared_ptr<IOMNode>& node);
    static std::string statementsText(const OMExpression& expression);
    // The expression a node holds, or null for a constant.
    static std::shared_ptr<OMExpression> expressionOf(const std::shared_ptr<IOMNode>& node);
    // Null-safe comparisons and hash of operand nodes.
    static bool nodesEqual(const std::shared_ptr<IOMNode>& node1, const std::shared_ptr<IOMNode>& node2);
    static bool nodesLess(const std::shared_ptr<IOMNode>& node1, const std::shared_ptr<IOMNode>& node2);
    static uint64_t mixHash(uint64_t hash, uint64_t value);
    static uint64_t nodeHash(const std::shared_ptr<IOMNode>& node);
    // A fixed order between expressions of different classes.
    bool isClassBefore(const OMExpression& other) const;

    // How many expression levels this tree has; trees deeper than kMaxExpressionDepth are refused
    // when built, so that walking one never exhausts the stack.
    uint32_t getDepth() const { return fDepth; }
    static uint32_t depthOf(const std::shared_ptr<IOMNode>& node);
    static constexpr uint32_t kMaxExpressionDepth = 800;

    // Evaluation without a task for an expression that cannot suspend. getAtOnce false means
    // nothing was done and the resumable way must be taken; setAtOnce likewise, and it reports in
    // stored whether the value went in. Whether an expression is one is known from its tree.
    // WITH_CALLS also takes statement lists and calls of script functions (see AtOnceCalls).
    bool isAtOnce(AtOnceMode mode = AtOnceMode::PLAIN) const
    {
        int8_t& known = fAtOnce[static_cast<size_t>(mode)];
        if (known < 0) known = computeAtOnce(mode) ? 1 : 0;
        return known != 0;
    }
    // Met at run time: this expression is never to be tried that way again.
    void refuseAtOnce(AtOnceMode mode) const { fAtOnce[static_cast<size_t>(mode)] = 0; }
    virtual bool isSettableAtOnce(AtOnceMode) const { return false; }
    virtual bool getAtOnce(const std::shared_ptr<OMScope>&, std::shared_ptr<IOMNode>&) { return false; }
    virtual bool setAtOnce(const std::shared_ptr<OMScope>&, const std::shared_ptr<IOMNode>&, bool&)
    {
        return false;
    }

    // What the object model asks of an expression without knowing its class.
    virtual bool isReturn() const { return false; }
    virtual std::shared_ptr<IOMNode> getReturnOperand() const { return nullptr; }
    virtual bool isKeyword() const { return false; }
    virtual bool isKeyword(Token) const { return false; }
    virtual bool isLValue() const { return false; }
    // A plain call `f(...)` of a script function.
    virtual bool isScriptCall() const { return false; }

protected:
    // Called by the factories once the operands are in place.
    void setDepthFrom(const std::shared_ptr<IOMNode>& node)
    {
        uint32_t depth = depthOf(node) + 1;
        if (depth > fDepth) fDepth = depth;
    }

    virtual bool computeAtOnce(AtOnceMode) const { return false; }

    uint32_t fDepth = 1;

private:
    mutable int8_t fAtOnce[2] = {-1, -1};
};

}  // namespace Qfn
