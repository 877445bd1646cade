#include "QfnParser/OMExpressionLValueToken.h"

#include "QfnLogger/Check.h"
#include "QfnParser/OMStored.h"
#include "QfnTask/YieldingFrame.h"

namespace Qfn {

std::shared_ptr<OMExpressionLValueToken> OMExpressionLValueToken::factory(
    const std::shared_ptr<IOMNode>& parent, Token token)
{
    std::shared_ptr<OMExpressionLValueToken> retVal;
    try {
        do {
            SANITY_CHECK(token != Token::_none);
            retVal.reset(new OMExpressionLValueToken(parent, token));
            retVal->setDepthFrom(parent);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string OMExpressionLValueToken::linkText() const
{
    const std::string& name = OMStored::tokenToStr(fToken);
    return fParent ? std::string(".") + name : name;
}

bool OMExpressionLValueToken::linkEqual(const OMExpressionLValue& other) const
{
    return static_cast<const OMExpressionLValueToken&>(other).fToken == fToken;
}

bool OMExpressionLValueToken::linkLess(const OMExpressionLValue& other) const
{
    return fToken < static_cast<const OMExpressionLValueToken&>(other).fToken;
}

uint64_t OMExpressionLValueToken::linkHash() const
{
    return mixHash(0x4A7C159E3779B97Full, static_cast<uint64_t>(fToken));
}

// A built-in read without parentheses (`a.length`): the value on the left is its only argument.
void OMExpressionLValueToken::get_yielding(const std::shared_ptr<Task>& task,
                                           std::shared_ptr<IOMNode>& retVal, AccessType accessType,
                                           const std::shared_ptr<OMScope>& scope, ScriptPhase scriptPhase,
                                           std::shared_ptr<IOMNode>& optionalNewValue)
{
    struct LocalVariableState : virtual OMFunctionState {
        bool success = false;
        OMExpressionLValueResolution resolution;
    };
    enum : unsigned { RESOLVE = 1, CALL };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) retVal = nullptr;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0:
                    s.fState = kFinished;
                    if (scriptPhase == ScriptPhase::PARSE) break;
                    SANITY_CHECK(fToken != Token::_none);
                    s.fState = RESOLVE;
                    break;
                    YIELDING_CALL(RESOLVE, resolve_yielding(task, s.success, accessType, scope, scriptPhase,
                                                            s.resolution));
                case resumeAfter(RESOLVE):
                    s.fState = kFinished;
                    SANITY_CHECK(s.success);
                    s.resolution.fResolvedArgumentList =
                        std::make_shared<std::vector<std::shared_ptr<IOMNode>>>();
                    if (s.resolution.getThisNode())
                        s.resolution.fResolvedArgumentList->push_back(s.resolution.getThisNode());
                    s.fState = CALL;
                    break;
                    YIELDING_CALL(CALL, callBuiltin_yielding(task, retVal, accessType, scope, s.resolution,
                                                             optionalNewValue));
                case resumeAfter(CALL):
                    s.fState = kFinished;
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

// The library of built-in functions is dispatched here by token. A name without an
// implementation fails as an unknown function does.
void OMExpressionLValueToken::callBuiltin_yielding(const std::shared_ptr<Task>& task,
                                                   std::shared_ptr<IOMNode>& retVal, AccessType,
                                                   const std::shared_ptr<OMScope>&,
                                                   OMExpressionLValueResolution&,
                                                   const std::shared_ptr<IOMNode>&)
{
    struct LocalVariableState : virtual OMFunctionState {};

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) retVal = nullptr;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0:
                    s.fState = kFinished;
                    LOG_ERROR(std::string("function not found: ") + OMStored::tokenToStr(fToken));
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

}  // namespace Qfn
