#include "QfnParser/expressions/OMExpressionLValueToken.h"

#include "QfnLogger/Check.h"
#include "QfnParser/model/OMNode.h"
#include "QfnParser/model/OMStored.h"
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

// With calls only `length`: a built-in may change what it is handed, which could not be taken back.
bool OMExpressionLValueToken::computeAtOnce(AtOnceMode mode) const
{
    const bool taken = fToken == Token::_length || (isPlainBuiltin() && mode == AtOnceMode::PLAIN);
    return fToken != Token::_none && taken && isLinkAtOnce(mode);
}

// The steps of get_yielding and callBuiltin_yielding: the value on the left goes in as argument 0.
// `length` of anything but a text, an array or a plain value may suspend: that takes the resumable way.
bool OMExpressionLValueToken::getAtOnce(const std::shared_ptr<OMScope>& scope,
                                        std::shared_ptr<IOMNode>& retVal)
{
    try {
        do {
            OMExpressionLValueResolution resolution;
            if (fParent) {
                std::shared_ptr<IOMNode> parent;
                if (!OMNode::getResolvedNodeAtOnce(fParent, scope, HandleReturnValue::UNWRAP, parent))
                    return false;
                SANITY_CHECK(parent);
                resolution.setThisNode(parent);
                resolution.setIsMethod(true);
            }
            const std::shared_ptr<IOMNode>& thisNode = resolution.getThisNode();
            if (fToken == Token::_length && thisNode && thisNode->getType() != OMType::String &&
                thisNode->getType() != OMType::Array && !thisNode->asPlainStored())
                return false;
            resolution.fResolvedArgumentList = std::make_shared<std::vector<std::shared_ptr<IOMNode>>>();
            if (thisNode) resolution.fResolvedArgumentList->push_back(thisNode);
            if (fToken != Token::_length) {
                retVal = callPlainBuiltin(AccessType::GET, scope, resolution);
                return true;
            }
            ASSIGN(retVal, OMStored::undefinedFactory());
            if (!requireArguments(resolution, 1)) return true;
            if (thisNode->getType() == OMType::String) {
                SANITY_CHECK(retVal->set(static_cast<int64_t>(thisNode->getString().size())));
            } else if (thisNode->getType() == OMType::Array) {
                SANITY_CHECK(retVal->set(static_cast<int64_t>(thisNode->getSize())));
            } else {
                std::shared_ptr<IOMNode> member;
                if (thisNode->asPlainStored()->readMember("length", member) && member) retVal = member;
            }
            return true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    retVal.reset();
    return true;
}

OMExpressionLValueToken::PlainBuiltin OMExpressionLValueToken::plainBuiltin(Token token)
{
    switch (token) {
        case Token::_abs:
            return &OMExpressionLValueToken::ftn_abs;
        case Token::_sqr:
            return &OMExpressionLValueToken::ftn_sqr;
        case Token::_sqrt:
            return &OMExpressionLValueToken::ftn_sqrt;
        case Token::_isNaN:
            return &OMExpressionLValueToken::ftn_isNaN;
        case Token::_parseFloat:
            return &OMExpressionLValueToken::ftn_parseFloat;
        case Token::_parseInt:
            return &OMExpressionLValueToken::ftn_parseInt;
        case Token::_toString:
            return &OMExpressionLValueToken::ftn_toString;
        case Token::_stringify:
            return &OMExpressionLValueToken::ftn_stringify;
        case Token::_toLowerCase:
            return &OMExpressionLValueToken::ftn_toLowerCase;
        case Token::_toUpperCase:
            return &OMExpressionLValueToken::ftn_toUpperCase;
        case Token::_enquote:
            return &OMExpressionLValueToken::ftn_enquote;
        case Token::_substr:
            return &OMExpressionLValueToken::ftn_substr;
        case Token::_indexOf:
            return &OMExpressionLValueToken::ftn_indexOf;
        case Token::_keys:
            return &OMExpressionLValueToken::ftn_keys;
        case Token::_size:
            return &OMExpressionLValueToken::ftn_size;
        case Token::_push:
            return &OMExpressionLValueToken::ftn_push;
        case Token::_pop:
            return &OMExpressionLValueToken::ftn_pop;
        case Token::_getEnv:
            return &OMExpressionLValueToken::ftn_getEnv;
        case Token::_fileExists:
            return &OMExpressionLValueToken::ftn_fileExists;
        case Token::_dirExists:
            return &OMExpressionLValueToken::ftn_dirExists;
        case Token::_parentPath:
            return &OMExpressionLValueToken::ftn_parentPath;
        case Token::_pathSegmentFromLeft:
            return &OMExpressionLValueToken::ftn_pathSegmentFromLeft;
        case Token::_pathSegmentFromRight:
            return &OMExpressionLValueToken::ftn_pathSegmentFromRight;
        case Token::_readFile:
            return &OMExpressionLValueToken::ftn_readFile;
        case Token::_writeFile:
            return &OMExpressionLValueToken::ftn_writeFile;
        case Token::_fileOpen:
            return &OMExpressionLValueToken::ftn_fileOpen;
        case Token::_fileClose:
            return &OMExpressionLValueToken::ftn_fileClose;
        case Token::_fileRead:
            return &OMExpressionLValueToken::ftn_fileRead;
        case Token::_fileWrite:
            return &OMExpressionLValueToken::ftn_fileWrite;
        case Token::_logError:
            return &OMExpressionLValueToken::ftn_logError;
        case Token::_logWarning:
            return &OMExpressionLValueToken::ftn_logWarning;
        case Token::_logNote:
            return &OMExpressionLValueToken::ftn_logNote;
        case Token::_logTrace:
            return &OMExpressionLValueToken::ftn_logTrace;
        case Token::_quit:
            return &OMExpressionLValueToken::ftn_quit;
        case Token::_sysInfo:
            return &OMExpressionLValueToken::ftn_sysInfo;
        case Token::_scriptFilePath:
            return &OMExpressionLValueToken::ftn_scriptFilePath;
        case Token::_setDataRequestCallBack:
            return &OMExpressionLValueToken::ftn_setDataRequestCallBack;
        default:
            return nullptr;
    }
}

// The library of built-in functions is dispatched here by token. A name without an
// implementation (the messaging ones, until messages exist) fails as an unknown function does.
void OMExpressionLValueToken::callBuiltin_yielding(const std::shared_ptr<Task>& task,
                                                   std::shared_ptr<IOMNode>& retVal, AccessType accessType,
                                                   const std::shared_ptr<OMScope>& scope,
                                                   OMExpressionLValueResolution& resolution,
                                                   const std::shared_ptr<IOMNode>& optionalNewValue)
{
    struct LocalVariableState : virtual OMFunctionState {};
    enum : unsigned {
        LENGTH = 1,
        OUTPUT,
        STD_IN,
        EXIT,
        YIELD,
        EVAL,
        EVAL_SCRIPT,
        PARSE_SCRIPT,
        REFERENCE,
        STD_OUT,
        STD_ERR,
    };

    try {
        RunningBuiltin running(this);
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) retVal = nullptr;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0:
                    s.fState = kFinished;
                    if (PlainBuiltin builtin = plainBuiltin(fToken)) {
                        retVal = (this->*builtin)(accessType, scope, resolution);
                        break;
                    }
                    switch (fToken) {
                        case Token::_length:
                            s.fState = LENGTH;
                            break;
                        case Token::_output:
                            s.fState = OUTPUT;
                            break;
                        case Token::_stdIn:
                            s.fState = STD_IN;
                            break;
                        case Token::_exit:
                            s.fState = EXIT;
                            break;
                        case Token::_yield:
                            s.fState = YIELD;
                            break;
                        case Token::_eval:
                            s.fState = EVAL;
                            break;
                        case Token::_evalScript:
                            s.fState = EVAL_SCRIPT;
                            break;
                        case Token::_parseScript:
                            s.fState = PARSE_SCRIPT;
                            break;
                        case Token::_reference:
                            s.fState = REFERENCE;
                            break;
                        case Token::_stdOut:
                            s.fState = STD_OUT;
                            break;
                        case Token::_stdErr:
                            s.fState = STD_ERR;
                            break;
                        default:
                            LOG_ERROR(std::string("function not found: ") + OMStored::tokenToStr(fToken));
                            break;
                    }
                    break;
                    YIELDING_CALL(LENGTH, ftn_length_yielding(task, retVal, accessType, scope, resolution));
                    YIELDING_CALL(OUTPUT, ftn_output_yielding(task, retVal, accessType, scope, resolution));
                    YIELDING_CALL(STD_IN, ftn_stdIn_yielding(task, retVal, accessType, scope, resolution));
                    YIELDING_CALL(EXIT, ftn_exit_yielding(task, retVal, accessType, scope, resolution));
                    YIELDING_CALL(YIELD, ftn_yield_yielding(task, retVal, accessType, scope, resolution));
                    YIELDING_CALL(EVAL, ftn_eval_yielding(task, retVal, accessType, scope, resolution));
                    YIELDING_CALL(EVAL_SCRIPT,
                                  ftn_evalScript_yielding(task, retVal, accessType, scope, resolution));
                    YIELDING_CALL(PARSE_SCRIPT,
                                  ftn_parseScript_yielding(task, retVal, accessType, scope, resolution));
                    YIELDING_CALL(REFERENCE, ftn_reference_yielding(task, retVal, accessType, scope,
                                                                    resolution, optionalNewValue));
                    YIELDING_CALL(STD_OUT, ftn_stdOut_yielding(task, retVal, accessType, scope, resolution));
                    YIELDING_CALL(STD_ERR, ftn_stdErr_yielding(task, retVal, accessType, scope, resolution));
                case resumeAfter(LENGTH):
                case resumeAfter(OUTPUT):
                case resumeAfter(STD_IN):
                case resumeAfter(EXIT):
                case resumeAfter(YIELD):
                case resumeAfter(EVAL):
                case resumeAfter(EVAL_SCRIPT):
                case resumeAfter(PARSE_SCRIPT):
                case resumeAfter(REFERENCE):
                case resumeAfter(STD_OUT):
                case resumeAfter(STD_ERR):
                    s.fState = kFinished;
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

}  // namespace Qfn
