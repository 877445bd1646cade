#pragma once

#include "QfnParser/expressions/OMExpressionLValue.h"
#include "QfnParser/expressions/OMExpressionLValueStr.h"
#include "QfnParser/expressions/OMExpressionLValueToken.h"

namespace Qfn {

// A call of what the link on the left names: a built-in, a method of the value on its left, or
// a script function.
class OMExpressionLValueCall : public OMExpressionLValue {
public:
    static std::shared_ptr<OMExpressionLValueCall> factory(const std::shared_ptr<IOMNode>& parent,
                                                           const NodeList& arguments);

    using OMExpressionLValue::get_yielding;
    void get_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                      AccessType accessType, const std::shared_ptr<OMScope>& scope, ScriptPhase scriptPhase,
                      std::shared_ptr<IOMNode>& optionalNewValue) override;
    bool getAtOnce(const std::shared_ptr<OMScope>& scope, std::shared_ptr<IOMNode>& retVal) override;
    bool isScriptCall() const override
    {
        knowCallee();
        return !fBuiltin && !fMethod;
    }

protected:
    bool computeAtOnce(AtOnceMode mode) const override;
    std::string linkText() const override;
    bool linkEqual(const OMExpressionLValue& other) const override;
    bool linkLess(const OMExpressionLValue& other) const override;
    uint64_t linkHash() const override;

private:
    OMExpressionLValueCall(std::shared_ptr<IOMNode> parent, NodeList arguments)
        : OMExpressionLValue(std::move(parent))
    {
        fUnresolvedArgumentList = std::move(arguments);
    }

    bool callScriptAtOnce(const std::shared_ptr<OMScope>& scope, std::shared_ptr<IOMNode>& retVal);
    // What the link on the left is, found out on the first call: the tree does not change.
    void knowCallee() const;

    mutable bool fCalleeKnown = false;
    mutable std::shared_ptr<OMExpressionLValueToken> fBuiltin;
    mutable std::shared_ptr<OMExpressionLValueStr> fMethod;
};

}  // namespace Qfn
