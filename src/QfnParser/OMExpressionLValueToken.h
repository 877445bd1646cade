#pragma once

#include "QfnParser/OMExpressionLValue.h"
#include "QfnParser/Token.h"

namespace Qfn {

// A built-in function or property by its token: `length`, `a.substr(1, 2)`, `reference('x')`.
class OMExpressionLValueToken : public OMExpressionLValue {
public:
    static std::shared_ptr<OMExpressionLValueToken> factory(const std::shared_ptr<IOMNode>& parent,
                                                            Token token);

    using OMExpressionLValue::get_yielding;
    void get_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                      AccessType accessType, const std::shared_ptr<OMScope>& scope, ScriptPhase scriptPhase,
                      std::shared_ptr<IOMNode>& optionalNewValue) override;
    // Runs the built-in over a resolved call: the receiver, if any, is argument 0. A new value
    // is given when the call is an assignment target (`reference(path) = value`).
    void callBuiltin_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                              AccessType accessType, const std::shared_ptr<OMScope>& scope,
                              OMExpressionLValueResolution& resolution,
                              const std::shared_ptr<IOMNode>& optionalNewValue);

    Token getToken() const { return fToken; }

protected:
    std::string linkText() const override;
    bool linkEqual(const OMExpressionLValue& other) const override;
    bool linkLess(const OMExpressionLValue& other) const override;
    uint64_t linkHash() const override;

private:
    OMExpressionLValueToken(std::shared_ptr<IOMNode> parent, Token token)
        : OMExpressionLValue(std::move(parent)), fToken(token)
    {
    }

    Token fToken;
};

}  // namespace Qfn
