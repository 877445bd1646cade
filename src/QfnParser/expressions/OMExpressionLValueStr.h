#pragma once

#include <string>

#include "QfnParser/expressions/OMExpressionLValue.h"

namespace Qfn {

// A plain name: a variable of the scope, or a member of the value on the left.
class OMExpressionLValueStr : public OMExpressionLValue {
public:
    static std::shared_ptr<OMExpressionLValueStr> factory(const std::shared_ptr<IOMNode>& parent,
                                                          const std::string& identifier);

    using OMExpressionLValue::get_yielding;
    void get_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                      AccessType accessType, const std::shared_ptr<OMScope>& scope, ScriptPhase scriptPhase,
                      std::shared_ptr<IOMNode>& optionalNewValue) override;

    bool isSettableAtOnce(AtOnceMode mode) const override { return isAtOnce(mode); }

    const std::string& getIdentifier() const { return fIdentifier; }

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
    void noteIfUnknown(bool found, AccessType access) const;

    OMExpressionLValueStr(std::shared_ptr<IOMNode> parent, std::string identifier)
        : OMExpressionLValue(std::move(parent)), fIdentifier(std::move(identifier))
    {
    }

    std::string fIdentifier;
};

}  // namespace Qfn
