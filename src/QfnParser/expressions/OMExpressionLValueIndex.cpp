#include "QfnParser/expressions/OMExpressionLValueIndex.h"

#include "QfnLogger/Check.h"
#include "QfnParser/model/OMStored.h"
#include "QfnTask/YieldingFrame.h"

namespace Qfn {

std::shared_ptr<OMExpressionLValueIndex> OMExpressionLValueIndex::factory(
    const std::shared_ptr<IOMNode>& parent, uint64_t index)
{
    std::shared_ptr<OMExpressionLValueIndex> retVal;
    try {
        do {
            SANITY_CHECK(parent);
            retVal.reset(new OMExpressionLValueIndex(parent, index));
            retVal->setDepthFrom(parent);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string OMExpressionLValueIndex::linkText() const
{
    return std::string("[") + std::to_string(fIndex) + "]";
}

bool OMExpressionLValueIndex::linkEqual(const OMExpressionLValue& other) const
{
    return static_cast<const OMExpressionLValueIndex&>(other).fIndex == fIndex;
}

bool OMExpressionLValueIndex::linkLess(const OMExpressionLValue& other) const
{
    return fIndex < static_cast<const OMExpressionLValueIndex&>(other).fIndex;
}

uint64_t OMExpressionLValueIndex::linkHash() const
{
    return mixHash(0x7F4A7C159E3779B9ull, fIndex);
}

// An element of the value on the left; a missing one reads as Error, a write grows the array.
void OMExpressionLValueIndex::get_yielding(const std::shared_ptr<Task>& task,
                                           std::shared_ptr<IOMNode>& retVal, AccessType accessType,
                                           const std::shared_ptr<OMScope>& scope, ScriptPhase scriptPhase,
                                           std::shared_ptr<IOMNode>& optionalNewValue)
{
    struct LocalVariableState : virtual OMFunctionState {
        bool success = false;
        OMExpressionLValueResolution resolution;
        std::shared_ptr<IOMNode> node;
    };
    enum : unsigned { RESOLVE = 1, ACCESS };

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
                    s.fState = RESOLVE;
                    break;
                    YIELDING_CALL(
                        RESOLVE, resolve_yielding(task, s.success, access, scope, scriptPhase, s.resolution));
                case resumeAfter(RESOLVE):
                    s.fState = kFinished;
                    SANITY_CHECK(s.success);
                    SANITY_CHECK(s.resolution.fResolvedParent);
                    s.fState = ACCESS;
                    break;
                    YIELDING_CALL(ACCESS, s.resolution.fResolvedParent->accessOMNodeResolved_yielding(
                                              task, s.success, scope, nullptr, access, fIndex, s.node));
                case resumeAfter(ACCESS):
                    s.fState = kFinished;
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

}  // namespace Qfn
