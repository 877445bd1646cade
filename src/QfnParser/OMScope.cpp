#include "QfnParser/OMScope.h"

#include "QfnLogger/Check.h"
#include "QfnTask/YieldingFrame.h"

namespace Qfn {

OMScope::OMScope(std::shared_ptr<OMScope> parent, ScopeRelationType parentScopeRelationType)
    : fParent(std::move(parent)), fParentScopeRelationType(parentScopeRelationType)
{
    setEmptyMap();
}

OMScope::~OMScope() = default;

std::shared_ptr<OMScope> OMScope::factory() { return factory(nullptr, ScopeRelationType::NONE); }

std::shared_ptr<OMScope> OMScope::factory(const std::shared_ptr<OMScope>& parent,
                                          ScopeRelationType parentScopeRelationType)
{
    std::shared_ptr<OMScope> retVal;
    try {
        do {
            std::shared_ptr<OMScope> scope(new OMScope(parent, parentScopeRelationType));
            SANITY_CHECK(scope);
            retVal = scope;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// name: own map first, then up the chain for as long as the links allow reading.
void OMScope::accessOMNodeReadOnlyResolved_yielding(const std::shared_ptr<Task>& task, bool& success,
                                                    const std::shared_ptr<OMScope>& scope,
                                                    const NodeList& resolvedArgumentList, const std::string& attr,
                                                    std::shared_ptr<IOMNode>& node) const
{
    struct LocalVariableState : virtual OMFunctionState {
        std::shared_ptr<OMScope> parent;
        ScopeRelationType relation = ScopeRelationType::NONE;
        bool parentSuccess = false;
        std::shared_ptr<IOMNode> parentNode;
    };
    enum : unsigned { WALK = 1, ASK_PARENT };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) success = false;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0:
                    if (readMember(attr, node) && node) {
                        success = true;
                        s.fState = kFinished;
                        break;
                    }
                    s.parent = fParent;
                    s.relation = fParentScopeRelationType;
                    s.fState = WALK;
                    break;
                case WALK:
                    if (!s.parent || s.relation == ScopeRelationType::NONE) {
                        s.fState = kFinished;
                        break;
                    }
                    s.parentSuccess = false;
                    s.parentNode.reset();
                    s.fState = ASK_PARENT;
                    break;
                    YIELDING_CALL(ASK_PARENT,
                                  s.parent->accessOMNodeResolved_yielding(task, s.parentSuccess, scope,
                                                                          resolvedArgumentList, AccessType::GET,
                                                                          attr, s.parentNode));
                case resumeAfter(ASK_PARENT):
                    if (s.parentSuccess && s.parentNode) {
                        node = s.parentNode;
                        success = true;
                        s.fState = kFinished;
                        break;
                    }
                    s.relation = s.parent->getParentScopeRelationType();
                    s.parent = s.parent->getParentScope();
                    s.fState = WALK;
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

// name = value: an existing name is written where it lives, as far up as the links allow writing;
// a new name is made in this scope, never half way up the chain.
void OMScope::accessOMNodeResolved_yielding(const std::shared_ptr<Task>& task, bool& success,
                                            const std::shared_ptr<OMScope>& scope,
                                            const NodeList& resolvedArgumentList, AccessType accessType,
                                            const std::string& attr, std::shared_ptr<IOMNode>& node)
{
    struct LocalVariableState : virtual OMFunctionState {
        std::shared_ptr<OMScope> parent;
        ScopeRelationType relation = ScopeRelationType::NONE;
        bool parentFound = false;
        std::shared_ptr<IOMNode> parentNode;
    };
    enum : unsigned { READ = 1, OWN_ACCESS, WALK, ASK_PARENT, PARENT_WRITE };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) success = false;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0: {
                    if (accessType == AccessType::GET) {
                        s.fState = READ;
                        break;
                    }
                    if (accessType != AccessType::GET_CREATE && accessType != AccessType::SET) {
                        LOG_ERROR("unexpected accessType");
                        s.fState = kFinished;
                        break;
                    }
                    std::shared_ptr<IOMNode> ownNode;
                    if (readMember(attr, ownNode) && ownNode) {
                        s.fState = OWN_ACCESS;
                        break;
                    }
                    s.parent = fParent;
                    s.relation = fParentScopeRelationType;
                    s.fState = WALK;
                    break;
                }
                    YIELDING_CALL(READ, accessOMNodeReadOnlyResolved_yielding(task, success, scope,
                                                                              resolvedArgumentList, attr, node));
                case resumeAfter(READ):
                    s.fState = kFinished;
                    break;
                    YIELDING_CALL(OWN_ACCESS,
                                  OMStored::accessOMNodeResolved_yielding(task, success, scope, resolvedArgumentList,
                                                                          accessType, attr, node));
                case resumeAfter(OWN_ACCESS):
                    s.fState = kFinished;
                    break;
                case WALK:
                    if (!s.parent || s.relation != ScopeRelationType::READ_WRITE) {
                        s.fState = OWN_ACCESS;
                        break;
                    }
                    s.parentFound = false;
                    s.parentNode.reset();
                    s.fState = ASK_PARENT;
                    break;
                    YIELDING_CALL(ASK_PARENT,
                                  s.parent->accessOMNodeResolved_yielding(task, s.parentFound, scope,
                                                                          resolvedArgumentList, AccessType::GET,
                                                                          attr, s.parentNode));
                case resumeAfter(ASK_PARENT):
                    if (s.parentFound && s.parentNode) {
                        // SET stores the caller's node there; GET_CREATE hands back the node found.
                        if (accessType == AccessType::SET && !node) node = OMStored::undefinedFactory();
                        if (accessType == AccessType::GET_CREATE) node.reset();
                        s.fState = PARENT_WRITE;
                        break;
                    }
                    s.relation = s.parent->getParentScopeRelationType();
                    s.parent = s.parent->getParentScope();
                    s.fState = WALK;
                    break;
                    YIELDING_CALL(PARENT_WRITE,
                                  s.parent->accessOMNodeResolved_yielding(task, success, scope, resolvedArgumentList,
                                                                          AccessType::GET_CREATE, attr, node));
                case resumeAfter(PARENT_WRITE):
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
