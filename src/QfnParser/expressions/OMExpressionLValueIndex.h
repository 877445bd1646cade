#pragma once

#include <cstdint>

#include "QfnParser/expressions/OMExpressionLValue.h"

namespace Qfn {

// A constant index: `a[3]`.
class OMExpressionLValueIndex : public OMExpressionLValue {
public:
    static std::shared_ptr<OMExpressionLValueIndex> factory(const std::shared_ptr<IOMNode>& parent,
                                                            uint64_t index);

    using OMExpressionLValue::get_yielding;
    void get_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                      AccessType accessType, const std::shared_ptr<OMScope>& scope, ScriptPhase scriptPhase,
                      std::shared_ptr<IOMNode>& optionalNewValue) override;

    uint64_t getIndex() const { return fIndex; }

protected:
    std::string linkText() const override;
    bool linkEqual(const OMExpressionLValue& other) const override;
    bool linkLess(const OMExpressionLValue& other) const override;
    uint64_t linkHash() const override;

private:
    OMExpressionLValueIndex(std::shared_ptr<IOMNode> parent, uint64_t index)
        : OMExpressionLValue(std::move(parent)), fIndex(index)
    {
    }

    uint64_t fIndex;
};

}  // namespace Qfn
