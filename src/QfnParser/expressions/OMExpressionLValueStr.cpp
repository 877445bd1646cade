#include "QfnParser/expressions/OMExpressionLValueStr.h"

#include "QfnLogger/Check.h"
#include "QfnParser/expressions/AtOnceCalls.h"
#include "QfnParser/model/OMScope.h"
#include "QfnParser/model/OMStored.h"
#include "QfnTask/YieldingFrame.h"

namespace Qfn {

std::shared_ptr<OMExpressionLValueStr> OMExpressionLValueStr::factory(const std::shared_ptr<IOMNode>& parent,
                                                                      const std::string& identifier)
{
    std::shared_ptr<OMExpressionLValueStr> retVal;
    try {
        do {
            SANITY_CHECK(!identifier.empty());
            retVal.reset(new OMExpressionLValueStr(parent, identifier));
            retVal->setDepthFrom(parent);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string OMExpressionLValueStr::linkText() const
{
    return fParent ? std::string(".") + fIdentifier : fIdentifier;
}

bool OMExpressionLValueStr::linkEqual(const OMExpressionLValue& other) const
{
    return static_cast<const OMExpressionLValueStr&>(other).fIdentifier == fIdentifier;
}

bool OMExpressionLValueStr::linkLess(const OMExpressionLValue& other) const
{
    return fIdentifier < static_cast<const OMExpressionLValueStr&>(other).fIdentifier;
}

uint64_t OMExpressionLValueStr::linkHash() const
{
    uint64_t retVal = 0x9E3779B97F4A7C15ull;
    for (char c : fIdentifier)
        retVal = mixHash(retVal, static_cast<unsigned char>(c));
    return retVal;
}

// A variable of the scope, or a member of the value on the left. A missing one reads as Error;
// for a write it is made, and the new value goes into it (scalars copied, containers shared).
void OMExpressionLValueStr::get_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                                         AccessType accessType, const std::shared_ptr<OMScope>& scope,
                                         ScriptPhase scriptPhase, std::shared_ptr<IOMNode>& optionalNewValue)
{
    struct LocalVariableState : virtual OMFunctionState {
        bool success = false;
        OMExpressionLValueResolution resolution;
        std::shared_ptr<IOMNode> node;
    };
    enum : unsigned { ACCESS_SCOPE = 1, RESOLVE, ACCESS_MEMBER, STORE };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) retVal = nullptr;
        LocalVariableState& s = *frame;
        const AccessType access = optionalNewValue ? AccessType::GET_CREATE : accessType;
        do {
            switch (s.fState) {
                case 0:
                    s.fState = kFinished;
                    if (scriptPhase == ScriptPhase::PARSE) break;
                    SANITY_CHECK(scope);
                    s.fState = fParent ? RESOLVE : ACCESS_SCOPE;
                    break;

                    YIELDING_CALL(ACCESS_SCOPE,
                                  scope->accessOMNodeResolved_yielding(task, s.success, scope, nullptr,
                                                                       access, fIdentifier, s.node));
                case resumeAfter(ACCESS_SCOPE):
                    s.fState = STORE;
                    break;

                    YIELDING_CALL(
                        RESOLVE, resolve_yielding(task, s.success, access, scope, scriptPhase, s.resolution));
                case resumeAfter(RESOLVE):
                    s.fState = kFinished;
                    SANITY_CHECK(s.success);
                    s.fState = ACCESS_MEMBER;
                    break;
                    YIELDING_CALL(ACCESS_MEMBER,
                                  s.resolution.fResolvedParent->accessOMNodeResolved_yielding(
                                      task, s.success, scope, nullptr, access, fIdentifier, s.node));
                case resumeAfter(ACCESS_MEMBER):
                    s.fState = STORE;
                    break;

                case STORE:
                    s.fState = kFinished;
                    noteIfUnknown(s.success && s.node, access);
                    retVal =
                        deliver(s.success, s.node, access, optionalNewValue, s.resolution.fResolvedParent);
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

// A read of a variable that no scope has: the script goes on with Error, and the user hears of it.
void OMExpressionLValueStr::noteIfUnknown(bool found, AccessType access) const
{
    if (!found && !fParent && access == AccessType::GET)
        ScriptFault::note(fPlace, [this] { return "unknown name: " + fIdentifier; });
}

// A call at once binds no "this" or "arguments": a body that names them is called resumably.
bool OMExpressionLValueStr::computeAtOnce(AtOnceMode mode) const
{
    if (mode == AtOnceMode::WITH_CALLS && !fParent && (fIdentifier == "this" || fIdentifier == "arguments"))
        return false;
    return isLinkAtOnce(mode);
}

// The steps of get_yielding for a name of the scope or a member of a plain value.
bool OMExpressionLValueStr::accessAtOnce(const std::shared_ptr<OMScope>& scope, AccessType access,
                                         const std::shared_ptr<IOMNode>& optionalNewValue,
                                         std::shared_ptr<IOMNode>& retVal)
{
    try {
        do {
            SANITY_CHECK(scope);
            std::shared_ptr<IOMNode> parent;
            std::shared_ptr<IOMNode> node;
            bool found = false;
            if (access != AccessType::GET && AtOnceCalls::mode() == AtOnceMode::WITH_CALLS &&
                (fParent || !AtOnceCalls::isStoreInside(*scope, fIdentifier))) {
                AtOnceCalls::refuse();
                return false;
            }
            if (!fParent) {
                found = access == AccessType::GET ? scope->readAtOnce(fIdentifier, node)
                                                  : scope->writeAtOnce(access, fIdentifier, node);
            } else {
                OMStored* holder = nullptr;
                if (!resolveHolderAtOnce(scope, parent, holder)) return false;
                if (!holder) break;
                found = holder->accessAtOnce(access, fIdentifier, node);
            }
            noteIfUnknown(found && node, access);
            retVal = deliver(found, node, access, optionalNewValue, parent);
            return true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    retVal.reset();
    return true;
}

}  // namespace Qfn
