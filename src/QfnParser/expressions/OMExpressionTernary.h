#pragma once

#include <memory>

#include "QfnParser/expressions/OMExpression.h"

namespace Qfn {

struct OMExpressionTernaryResolution {
    std::shared_ptr<IOMNode> fResolvedNode1;
    std::shared_ptr<IOMNode> fResolvedValue;  // node 2 or node 3, whichever the condition chose

    void clear() { *this = OMExpressionTernaryResolution(); }
};

// `if (c) {a} else {b}` and `c ? a : b`: the language's only short circuit.
class OMExpressionTernary : public OMExpression {
public:
    static std::shared_ptr<OMExpressionTernary> factory(TernOp ternOp, const std::shared_ptr<IOMNode>& node1,
                                                        const std::shared_ptr<IOMNode>& node2,
                                                        const std::shared_ptr<IOMNode>& node3);

    void get_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                      AccessType accessType, const std::shared_ptr<OMScope>& scope,
                      ScriptPhase scriptPhase) override;
    void set_yielding(const std::shared_ptr<Task>& task, bool& retVal, std::shared_ptr<IOMNode>& value,
                      const std::shared_ptr<OMScope>& scope, ScriptPhase scriptPhase) override;
    void resolve_yielding(const std::shared_ptr<Task>& task, bool& retVal, AccessType accessType,
                          const std::shared_ptr<OMScope>& scope, ScriptPhase scriptPhase,
                          OMExpressionTernaryResolution& resolution);
    std::string toString() const override;
    uint64_t hash() const override;
    bool operator==(const OMExpression& other) const override;
    bool operator<(const OMExpression& other) const override;
    bool scanForLocalVariables(const std::shared_ptr<FunctionSignature>& functionSignature,
                               bool& inLocalSequence) override;
    // An `if` reads as a whole statement; a conditional binds just looser than `||`.
    int getBindingLevel() const override
    {
        return fTernOp == TernOp::CONDITIONAL ? static_cast<int>(BinOp::TERNARY) : 0;
    }

    TernOp getTernOp() const { return fTernOp; }
    bool getAtOnce(const std::shared_ptr<OMScope>& scope, std::shared_ptr<IOMNode>& retVal) override;

protected:
    bool computeAtOnce(AtOnceMode mode) const override;

private:
    OMExpressionTernary(TernOp ternOp, std::shared_ptr<IOMNode> node1, std::shared_ptr<IOMNode> node2,
                        std::shared_ptr<IOMNode> node3)
        : fTernOp(ternOp), fNode1(std::move(node1)), fNode2(std::move(node2)), fNode3(std::move(node3))
    {
    }

    TernOp fTernOp;
    std::shared_ptr<IOMNode> fNode1;
    std::shared_ptr<IOMNode> fNode2;
    std::shared_ptr<IOMNode> fNode3;
};

}  // namespace Qfn
