#include "QfnParser/model/OMScope.h"

#include "QfnLogger/Check.h"
#include "QfnParser/expressions/AtOnceCalls.h"
#include "QfnTask/YieldingFrame.h"
#include "QfnUtils/PoolAllocator.h"

namespace Qfn {

OMScope::OMScope(std::shared_ptr<OMScope> parent, ScopeRelationType parentScopeRelationType)
    : fParent(std::move(parent)), fParentScopeRelationType(parentScopeRelationType)
{
    setEmptyMap();
}

OMScope::~OMScope() = default;

ScopeFactoryFunction OMScope::fScopeFactoryFunction = nullptr;

std::shared_ptr<OMScope> OMScope::scopeFactory()
{
    return scopeFactory(nullptr, ScopeRelationType::NONE);
}

std::shared_ptr<OMScope> OMScope::scopeFactory(const std::shared_ptr<OMScope>& parent,
                                               ScopeRelationType parentScopeRelationType)
{
    std::shared_ptr<OMScope> retVal;
    try {
        do {
            retVal = fScopeFactoryFunction ? fScopeFactoryFunction(parent, parentScopeRelationType)
                                           : factory(parent, parentScopeRelationType);
            SANITY_CHECK(retVal);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

void OMScope::setScopeFactory(ScopeFactoryFunction scopeFactoryFunction)
{
    fScopeFactoryFunction = scopeFactoryFunction;
}

std::shared_ptr<OMScope> OMScope::factory()
{
    return factory(nullptr, ScopeRelationType::NONE);
}

std::shared_ptr<OMScope> OMScope::factory(const std::shared_ptr<OMScope>& parent,
                                          ScopeRelationType parentScopeRelationType)
{
    std::shared_ptr<OMScope> retVal;
    try {
        do {
            // One allocation for the scope and its count: a scope is made for every call.
            struct SharedOMScope final : OMScope {
                SharedOMScope(const std::shared_ptr<OMScope>& parent, ScopeRelationType relation)
                    : OMScope(parent, relation)
                {
                }
            };
            std::shared_ptr<OMScope> scope = std::allocate_shared<SharedOMScope>(
                PoolAllocator<SharedOMScope>(), parent, parentScopeRelationType);
            SANITY_CHECK(scope);
            retVal = std::move(scope);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

void OMScope::setAtOnceMark(uint64_t mark, const std::shared_ptr<FunctionSignature>& signature)
{
    // The call may replace its own function while it runs: its names live as long as this scope.
    fSignatureHeld = signature;
    const FunctionSignature* names = signature.get();
    // A signature always begins with the function's name; one without it is not relied on.
    if (names && names->getParameterList().empty()) names = nullptr;
    fAtOnceMark = mark;
    fFixedNames = names;
    fUsesSlots = names && names->getNameCount() <= kSlotCount && names->hasDistinctNames() &&
                 getType() == OMType::Map && getSize() == 0;
    const bool sameAbove = names && fParent && fParent->fFixedNames == names &&
                           fParentScopeRelationType == ScopeRelationType::READ_WRITE;
    fSkipTo = sameAbove ? fParent->fSkipTo : fParent.get();
    fSkipRelation = sameAbove ? fParent->fSkipRelation : fParentScopeRelationType;
}

void OMScope::setCallNames(const std::shared_ptr<FunctionSignature>& signature)
{
    fSignatureHeld = signature;
    const FunctionSignature* names = signature.get();
    if (names && names->getParameterList().empty()) names = nullptr;
    fCallNames = names;
    // The scopes passed over cannot gain names while this one lives: a new name is made in the
    // scope that writes it, and only the deepest call runs.
    const bool sameAbove = names && fParent && fParent->fCallNames == names &&
                           fParentScopeRelationType == ScopeRelationType::READ_WRITE &&
                           fParent->holdsOnlyCallNames();
    fSkipTo = sameAbove ? fParent->fSkipTo : fParent.get();
    fSkipRelation = sameAbove ? fParent->fSkipRelation : fParentScopeRelationType;
}

bool OMScope::holdsOnlyCallNames() const
{
    const std::shared_ptr<OMMap>& map = getMap();
    if (getType() != OMType::Map || !map) return false;
    for (const auto& member : *map)
        if (isPassedOverFor(member.first)) return false;
    return true;
}

bool OMScope::bindName(const std::string& name, size_t index, const std::shared_ptr<IOMNode>& node)
{
    if (!fUsesSlots) return bindMember(name, node);
    if (index >= kSlotCount || !node) return false;
    fSlots[index] = node;
    return true;
}

bool OMScope::readOwn(const std::string& attr, std::shared_ptr<IOMNode>& node) const
{
    if (!fFixedNames) return readMember(attr, node) && node;
    const int index = fFixedNames->indexOfName(attr);
    if (index < 0) return false;
    if (!fUsesSlots) return readMember(attr, node) && node;
    node = fSlots[index];
    return node != nullptr;
}

bool OMScope::holdsName(const std::string& attr) const
{
    std::shared_ptr<IOMNode> node;
    return readOwn(attr, node);
}

// The scope that holds name as seen from here: this one, then up the chain for as long as the
// links allow reading. The walk is a loop, so that deep recursion in a script costs no frames.
// A recursion made at once is passed over in one step.
const OMScope* OMScope::findVisibleOwner(const std::string& attr, std::shared_ptr<IOMNode>& node,
                                         bool isCacheable) const
{
    const OMScope* holder = this;
    ScopeRelationType relation = ScopeRelationType::READ_WRITE;
    const uint64_t mark = isCacheable ? AtOnceCalls::scopeMark() : 0;
    while (holder && relation != ScopeRelationType::NONE) {
        if (mark != 0 && holder->fAtOnceMark != mark) {
            // The first scope outside the attempt: from here up nothing changes while it runs.
            const OMScope* owner = nullptr;
            if (AtOnceCalls::findCachedName(attr, *holder, owner, node)) return owner;
            owner = holder->findVisibleOwner(attr, node, false);
            AtOnceCalls::cacheName(attr, *holder, owner, node);
            return owner;
        }
        if (holder->readOwn(attr, node)) return holder;
        if (holder->fFixedNames || holder->isPassedOverFor(attr)) {
            relation = holder->fSkipRelation;
            holder = holder->fSkipTo;
        } else {
            relation = holder->fParentScopeRelationType;
            holder = holder->fParent.get();
        }
    }
    node.reset();
    return nullptr;
}

void OMScope::accessOMNodeReadOnlyResolved_yielding(const std::shared_ptr<Task>& task, bool& success,
                                                    const std::shared_ptr<OMScope>&, const NodeList&,
                                                    const std::string& attr,
                                                    std::shared_ptr<IOMNode>& node) const
{
    struct LocalVariableState : virtual OMFunctionState {};

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) success = false;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0:
                    s.fState = kFinished;
                    success = findVisibleOwner(attr, node) != nullptr;
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

// name = value: an existing name is written where it lives, as far up as the links allow writing.
// A name seen only through a read-only link is shadowed at the last scope that may write; a new
// name is made in this scope, never half way up the chain.
OMScope* OMScope::findWriteTarget(const std::string& attr)
{
    OMScope* candidate = this;
    while (true) {
        std::shared_ptr<IOMNode> node;
        if (candidate->readOwn(attr, node)) return candidate;
        // Calls of the same function that cannot hold the name, up to a link that may write.
        if (candidate->fSkipTo && candidate->isPassedOverFor(attr) &&
            candidate->fSkipRelation == ScopeRelationType::READ_WRITE &&
            candidate->fSkipTo != candidate->fParent.get()) {
            candidate = const_cast<OMScope*>(candidate->fSkipTo);
            continue;
        }
        if (!candidate->fParent) return this;
        if (candidate->fParentScopeRelationType != ScopeRelationType::READ_WRITE) {
            bool visibleAbove = candidate->fParentScopeRelationType != ScopeRelationType::NONE &&
                                candidate->fParent->findVisibleOwner(attr, node);
            return visibleAbove ? candidate : this;
        }
        candidate = candidate->fParent.get();
    }
}

void OMScope::accessOMNodeResolved_yielding(const std::shared_ptr<Task>& task, bool& success,
                                            const std::shared_ptr<OMScope>& scope,
                                            const NodeList& resolvedArgumentList, AccessType accessType,
                                            const std::string& attr, std::shared_ptr<IOMNode>& node)
{
    struct LocalVariableState : virtual OMFunctionState {
        OMScope* target = nullptr;
        std::shared_ptr<OMStored> keepTarget;
    };
    enum : unsigned { READ = 1, WRITE };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) success = false;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0:
                    s.fState = kFinished;
                    if (accessType == AccessType::GET) {
                        s.fState = READ;
                        break;
                    }
                    if (accessType != AccessType::GET_CREATE && accessType != AccessType::SET) {
                        LOG_ERROR("unexpected accessType");
                        break;
                    }
                    s.target = findWriteTarget(attr);
                    s.keepTarget = std::static_pointer_cast<OMStored>(s.target->shared_from_this());
                    s.fState = WRITE;
                    break;
                    YIELDING_CALL(READ, accessOMNodeReadOnlyResolved_yielding(
                                            task, success, scope, resolvedArgumentList, attr, node));
                case resumeAfter(READ):
                    s.fState = kFinished;
                    break;
                    YIELDING_CALL(WRITE,
                                  s.target->OMStored::accessOMNodeResolved_yielding(
                                      task, success, scope, resolvedArgumentList, accessType, attr, node));
                case resumeAfter(WRITE):
                    s.fState = kFinished;
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

std::string OMScope::getCurScriptFilePath() const
{
    std::string retVal;
    try {
        do {
            if (!fScriptFileStack.empty()) {
                retVal = fScriptFileStack.back();
                break;
            }
            if (fParent) retVal = fParent->getCurScriptFilePath();
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool OMScope::pushScriptFilePath(const std::string& scriptFilePath)
{
    bool retVal = false;
    try {
        do {
            fScriptFileStack.push_back(scriptFilePath);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool OMScope::popScriptFilePath()
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(!fScriptFileStack.empty());
            fScriptFileStack.pop_back();
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace Qfn
