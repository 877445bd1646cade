#pragma once

#include <memory>
#include <string>

#include "QfnParser/expressions/OMExpression.h"
#include "QfnParser/expressions/OMExpressionLValueResolution.h"
#include "QfnParser/model/ScriptFault.h"

namespace Qfn {

// A link of a chain such as `a.z[1].f(x)`: a name, member, index or call, with the link on its
// left in fParent. Reading walks the chain from the left; a chain is also an assignment target.
class OMExpressionLValue : public OMExpression {
public:
    using OMExpression::get_yielding;
    // A plain read.
    void get_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                      AccessType accessType, const std::shared_ptr<OMScope>& scope,
                      ScriptPhase scriptPhase) override;
    // optionalNewValue, when set, is stored at the place the chain names.
    virtual void get_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                              AccessType accessType, const std::shared_ptr<OMScope>& scope,
                              ScriptPhase scriptPhase, std::shared_ptr<IOMNode>& optionalNewValue) = 0;
    void set_yielding(const std::shared_ptr<Task>& task, bool& retVal, std::shared_ptr<IOMNode>& value,
                      const std::shared_ptr<OMScope>& scope, ScriptPhase scriptPhase) override;
    // The arguments and the value on the left.
    void resolve_yielding(const std::shared_ptr<Task>& task, bool& retVal, AccessType accessType,
                          const std::shared_ptr<OMScope>& scope, ScriptPhase scriptPhase,
                          OMExpressionLValueResolution& resolution);

    std::string toString() const override;
    uint64_t hash() const override;
    bool operator==(const OMExpression& other) const override;
    bool operator<(const OMExpression& other) const override;
    bool scanForLocalVariables(const std::shared_ptr<FunctionSignature>& functionSignature,
                               bool& inLocalSequence) override;
    bool isLValue() const override { return true; }

    // Where the parser read this link (its name, or the call's parenthesis), for fault reports.
    void setPlace(const SourcePlace& place) { fPlace = place; }
    const SourcePlace& getPlace() const { return fPlace; }

    const std::shared_ptr<IOMNode>& getParent() const { return fParent; }
    const NodeList& getArgumentList() const { return fUnresolvedArgumentList; }
    void setArgumentList(NodeList argumentList) { fUnresolvedArgumentList = std::move(argumentList); }
    bool compareArgumentListEqual(const OMExpressionLValue& other) const;
    bool compareArgumentListLess(const OMExpressionLValue& other) const;

    // `var name` without a value: the name reached for writing, made when missing.
    bool declareAtOnce(const std::shared_ptr<OMScope>& scope, std::shared_ptr<IOMNode>& retVal)
    {
        return accessAtOnce(scope, AccessType::GET_CREATE, nullptr, retVal);
    }
    // A read, or a store of value, through accessAtOnce.
    bool getAtOnce(const std::shared_ptr<OMScope>& scope, std::shared_ptr<IOMNode>& retVal) override;
    bool setAtOnce(const std::shared_ptr<OMScope>& scope, const std::shared_ptr<IOMNode>& value,
                   bool& stored) override;

protected:
    explicit OMExpressionLValue(std::shared_ptr<IOMNode> parent) : fParent(std::move(parent)) {}

    // The link's node for reading or (with a new value) for writing, found without a task as
    // get_yielding finds it. False, having done nothing, when that access may suspend.
    virtual bool accessAtOnce(const std::shared_ptr<OMScope>&, AccessType, const std::shared_ptr<IOMNode>&,
                              std::shared_ptr<IOMNode>&)
    {
        return false;
    }

    // The value on the left of the link, for an access without a task. False to take the
    // resumable way (its access may suspend); true with holder null when it has no value (logged).
    bool resolveHolderAtOnce(const std::shared_ptr<OMScope>& scope, std::shared_ptr<IOMNode>& parent,
                             OMStored*& holder) const;
    // The link reads at once from a plain value on its left, over argument-free parents only.
    bool isLinkAtOnce(AtOnceMode mode) const;

    // This link's own text, after its parent's: "name", ".name", "[1]", "(a, b)".
    virtual std::string linkText() const = 0;
    // Same class, same link fields; parent and arguments are compared by the base.
    virtual bool linkEqual(const OMExpressionLValue& other) const = 0;
    virtual bool linkLess(const OMExpressionLValue& other) const = 0;
    virtual uint64_t linkHash() const = 0;
    // The end of a member or element access: the node found (with the new value stored into it),
    // Error for a read of what is not there, null and a log line for a write that found no place.
    // A container that already holds the holder (holder is the value on the left, if any) is
    // refused, so that no structure ever contains itself.
    std::shared_ptr<IOMNode> deliver(bool found, std::shared_ptr<IOMNode>& node, AccessType access,
                                     const std::shared_ptr<IOMNode>& optionalNewValue,
                                     const std::shared_ptr<IOMNode>& holder) const;

    std::shared_ptr<IOMNode> fParent;
    NodeList fUnresolvedArgumentList;
    SourcePlace fPlace;
};

}  // namespace Qfn
