#pragma once

#include "QfnParser/expressions/OMExpressionLValue.h"

namespace Qfn {

// A computed index: `a[i + 1]` reads an element, `a['x']` a member.
class OMExpressionLValueIndexByExpression : public OMExpressionLValue {
public:
    static std::shared_ptr<OMExpressionLValueIndexByExpression> factory(
        const std::shared_ptr<IOMNode>& parent, const std::shared_ptr<IOMNode>& indexExpression);

    using OMExpressionLValue::get_yielding;
    void get_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                      AccessType accessType, const std::shared_ptr<OMScope>& scope, ScriptPhase scriptPhase,
                      std::shared_ptr<IOMNode>& optionalNewValue) override;
    bool scanForLocalVariables(const std::shared_ptr<FunctionSignature>& functionSignature,
                               bool& inLocalSequence) override;

    bool isSettableAtOnce(AtOnceMode mode) const override { return isAtOnce(mode); }

protected:
    bool computeAtOnce(AtOnceMode mode) const override;
    bool accessAtOnce(const std::shared_ptr<OMScope>& scope, AccessType access,
                      const std::shared_ptr<IOMNode>& optionalNewValue,
                      std::shared_ptr<IOMNode>& retVal) override;
    std::string linkText() const override;
    bool linkEqual(const OMExpressionLValue& other) const override;
    bool linkLess(const OMExpressionLValue& other) const override;
    uint64_t linkHash() const override;

private:
    OMExpressionLValueIndexByExpression(std::shared_ptr<IOMNode> parent,
                                        std::shared_ptr<IOMNode> indexExpression)
        : OMExpressionLValue(std::move(parent)), fIndexExpression(std::move(indexExpression))
    {
    }

    std::shared_ptr<IOMNode> fIndexExpression;
};

}  // namespace Qfn
