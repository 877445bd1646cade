#pragma once

#include <memory>

#include "QfnParser/expressions/OMExpression.h"

namespace Qfn {

// A unary operator over one operand. The object model uses it to wrap `return` values.
class OMExpressionUnary : public OMExpression {
public:
    static std::shared_ptr<OMExpressionUnary> factory(UnOp unOp, const std::shared_ptr<IOMNode>& node);

    void get_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                      AccessType accessType, const std::shared_ptr<OMScope>& scope,
                      ScriptPhase scriptPhase) override;
    void set_yielding(const std::shared_ptr<Task>& task, bool& retVal, std::shared_ptr<IOMNode>& value,
                      const std::shared_ptr<OMScope>& scope, ScriptPhase scriptPhase) override;
    std::string toString() const override;
    uint64_t hash() const override;
    bool operator==(const OMExpression& other) const override;
    bool operator<(const OMExpression& other) const override;
    bool scanForLocalVariables(const std::shared_ptr<FunctionSignature>& functionSignature,
                               bool& inLocalSequence) override;

    bool getAtOnce(const std::shared_ptr<OMScope>& scope, std::shared_ptr<IOMNode>& retVal) override;
    bool isReturn() const override { return fUnOp == UnOp::RETURN; }
    std::shared_ptr<IOMNode> getReturnOperand() const override { return isReturn() ? fNode : nullptr; }

    // `return` takes the whole expression on its right, the others only the next operand.
    int getBindingLevel() const override
    {
        return fUnOp == UnOp::RETURN ? static_cast<int>(BinOp::ASSIGN) : 1;
    }
    // ++ and -- in either form: they store back into their operand.
    bool isChanging() const;

    UnOp getUnOp() const { return fUnOp; }
    const std::shared_ptr<IOMNode>& getNode() const { return fNode; }

    static const char* unOpToPrefixStr(UnOp unOp);
    static const char* unOpToSuffixStr(UnOp unOp);

protected:
    bool computeAtOnce(AtOnceMode mode) const override;
    OMExpressionUnary(UnOp unOp, std::shared_ptr<IOMNode> node) : fUnOp(unOp), fNode(std::move(node)) {}

private:
    UnOp fUnOp;
    std::shared_ptr<IOMNode> fNode;
};

}  // namespace Qfn
