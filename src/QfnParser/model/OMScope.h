#pragma once

#include <memory>
#include <string>
#include <vector>

#include "QfnParser/model/FunctionSignature.h"
#include "QfnParser/model/OMStored.h"

namespace Qfn {

// A variable environment: a map of names with a link to a parent scope, through which names are
// read and written as the relation allows.
class OMScope : public OMStored {
public:
    static std::shared_ptr<OMScope> factory();
    static std::shared_ptr<OMScope> factory(const std::shared_ptr<OMScope>& parent,
                                            ScopeRelationType parentScopeRelationType);
    // What all code calls for a new scope: the installed creator's, else a plain OMScope.
    static std::shared_ptr<OMScope> scopeFactory();
    static std::shared_ptr<OMScope> scopeFactory(const std::shared_ptr<OMScope>& parent,
                                                 ScopeRelationType parentScopeRelationType);
    static void setScopeFactory(ScopeFactoryFunction scopeFactoryFunction);
    ~OMScope() override;

    using OMStored::accessOMNodeResolved_yielding;
    void accessOMNodeResolved_yielding(const std::shared_ptr<Task>& task, bool& success,
                                       const std::shared_ptr<OMScope>& scope,
                                       const NodeList& resolvedArgumentList, AccessType accessType,
                                       const std::string& attr, std::shared_ptr<IOMNode>& node) override;
    using OMStored::accessOMNodeReadOnlyResolved_yielding;
    void accessOMNodeReadOnlyResolved_yielding(const std::shared_ptr<Task>& task, bool& success,
                                               const std::shared_ptr<OMScope>& scope,
                                               const NodeList& resolvedArgumentList, const std::string& attr,
                                               std::shared_ptr<IOMNode>& node) const override;

    // The reads and writes of a name as the resumable access makes them, without a task.
    // attr is the name's own text in the tree: during a call at once what is found for it
    // outside the call's scopes is kept.
    bool readAtOnce(const std::string& attr, std::shared_ptr<IOMNode>& node) const
    {
        return findVisibleOwner(attr, node, true) != nullptr;
    }
    bool writeAtOnce(AccessType accessType, const std::string& attr, std::shared_ptr<IOMNode>& node)
    {
        OMScope* target = findWriteTarget(attr);
        return target->fUsesSlots ? target->readOwn(attr, node)
                                  : target->accessForWrite(accessType, attr, node);
    }
    // Which attempt of evaluation at once made this scope for a call, and the signature whose
    // names are all it holds (no name is made in it while it lives); 0 and null for none. A few
    // such names are kept in slots, in the signature's order, instead of the map.
    uint64_t getAtOnceMark() const { return fAtOnceMark; }
    void setAtOnceMark(uint64_t mark, const std::shared_ptr<FunctionSignature>& signature);
    // A scope made for a resumable call of the function with these names. Calls of the same
    // function directly above it that hold nothing else are passed over in one step when a name
    // is looked for that none of them binds: a deep recursion then finds its globals at once.
    void setCallNames(const std::shared_ptr<FunctionSignature>& signature);
    // Binds the name at index of the signature given to setAtOnceMark.
    bool bindName(const std::string& name, size_t index, const std::shared_ptr<IOMNode>& node);
    bool holdsName(const std::string& attr) const;
    // The scope that name = value writes into.
    const OMScope* getWriteTarget(const std::string& attr) { return findWriteTarget(attr); }
    // A scope's members are reached through its chain, not as those of a plain value.
    OMStored* asPlainStored() override { return nullptr; }

    const std::shared_ptr<OMScope>& getParentScope() const { return fParent; }
    virtual ScopeRelationType getParentScopeRelationType() const { return fParentScopeRelationType; }
    virtual std::string getCurScriptFilePath() const;
    virtual bool pushScriptFilePath(const std::string& scriptFilePath);
    virtual bool popScriptFilePath();

private:
    static constexpr size_t kSlotCount = 4;
    // This scope's own node for name, without looking further.
    bool readOwn(const std::string& attr, std::shared_ptr<IOMNode>& node) const;
    const OMScope* findVisibleOwner(const std::string& attr, std::shared_ptr<IOMNode>& node,
                                    bool isCacheable = false) const;
    OMScope* findWriteTarget(const std::string& attr);
    // Whether a resumable call's scope may be passed over when attr is looked for.
    bool isPassedOverFor(const std::string& attr) const
    {
        return fCallNames && !fCallNames->bindsName(attr) && attr != "this" && attr != "arguments";
    }
    bool holdsOnlyCallNames() const;

protected:
    OMScope(std::shared_ptr<OMScope> parent, ScopeRelationType parentScopeRelationType);

private:
    static ScopeFactoryFunction fScopeFactoryFunction;

    std::shared_ptr<OMScope> fParent;
    ScopeRelationType fParentScopeRelationType;
    std::vector<std::string> fScriptFileStack;
    uint64_t fAtOnceMark = 0;
    const FunctionSignature* fFixedNames = nullptr;
    bool fUsesSlots = false;
    std::shared_ptr<IOMNode> fSlots[kSlotCount];
    // Past the scopes of calls of the same function above this one (a recursion), which hold
    // the same names: where a name none of them holds is looked for next, and through what link.
    const OMScope* fSkipTo = nullptr;
    ScopeRelationType fSkipRelation = ScopeRelationType::NONE;
    // The names of the resumable call this scope was made for; null for any other scope.
    const FunctionSignature* fCallNames = nullptr;
    // Keeps fFixedNames and fCallNames alive when the function is replaced during its own call.
    std::shared_ptr<FunctionSignature> fSignatureHeld;
};

}  // namespace Qfn
