#include "QfnParser/expressions/OMExpressionKeyword.h"

#include "QfnLogger/Check.h"
#include "QfnParser/expressions/OMExpressionLValueStr.h"
#include "QfnParser/model/FunctionSignature.h"
#include "QfnParser/model/OMStored.h"
#include "QfnTask/YieldingFrame.h"

namespace Qfn {

std::shared_ptr<OMExpressionKeyword> OMExpressionKeyword::factory(Token token)
{
    std::shared_ptr<OMExpressionKeyword> retVal;
    try {
        do {
            SANITY_CHECK(token != Token::_none && token != Token::_var);
            retVal.reset(new OMExpressionKeyword(token, ""));
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<OMExpressionKeyword> OMExpressionKeyword::varFactory(const std::string& name)
{
    std::shared_ptr<OMExpressionKeyword> retVal;
    try {
        do {
            SANITY_CHECK(!name.empty());
            std::shared_ptr<OMExpressionKeyword> keyword(new OMExpressionKeyword(Token::_var, name));
            ASSIGN(keyword->fVariable, OMExpressionLValueStr::factory(nullptr, name));
            retVal = keyword;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string OMExpressionKeyword::toString() const
{
    const std::string& text = OMStored::tokenToStr(fToken);
    return fToken == Token::_var ? std::string(text).append(" ").append(fName) : text;
}

uint64_t OMExpressionKeyword::hash() const
{
    uint64_t retVal = mixHash(0xCBF29CE484222325ull, static_cast<uint64_t>(fToken));
    for (char c : fName)
        retVal = mixHash(retVal, static_cast<unsigned char>(c));
    return retVal;
}

bool OMExpressionKeyword::operator==(const OMExpression& other) const
{
    const auto* otherKeyword = dynamic_cast<const OMExpressionKeyword*>(&other);
    return otherKeyword && otherKeyword->fToken == fToken && otherKeyword->fName == fName;
}

bool OMExpressionKeyword::operator<(const OMExpression& other) const
{
    const auto* otherKeyword = dynamic_cast<const OMExpressionKeyword*>(&other);
    if (!otherKeyword) return isClassBefore(other);
    if (fToken != otherKeyword->fToken) return fToken < otherKeyword->fToken;
    return fName < otherKeyword->fName;
}

bool OMExpressionKeyword::scanForLocalVariables(const std::shared_ptr<FunctionSignature>& functionSignature,
                                                bool& inLocalSequence)
{
    if (fToken != Token::_var || !functionSignature) return true;
    inLocalSequence = true;
    const auto& locals = functionSignature->getLocalVariables();
    for (const auto& local : locals)
        if (local == fName) return true;
    return functionSignature->addLocalVariable(fName);
}

// `break` answers with its own node, the mark that loops and statement lists look for; `var x`
// reads its variable. Nothing of this happens while parsing.
void OMExpressionKeyword::get_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                                       AccessType accessType, const std::shared_ptr<OMScope>& scope,
                                       ScriptPhase scriptPhase)
{
    struct LocalVariableState : virtual OMFunctionState {};
    enum : unsigned { READ_VARIABLE = 1 };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) retVal = nullptr;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0:
                    s.fState = kFinished;
                    if (scriptPhase == ScriptPhase::PARSE) break;
                    switch (fToken) {
                        case Token::_debugger:
                            LOG_TRACE("debugger triggered");
                            retVal = OMStored::undefinedFactory();
                            break;
                        case Token::_break:
                            retVal =
                                OMStored::factory(std::const_pointer_cast<OMExpression>(shared_from_this()));
                            break;
                        case Token::_var:
                            s.fState = READ_VARIABLE;
                            break;
                        default:
                            retVal = OMStored::undefinedFactory();
                            break;
                    }
                    break;
                    YIELDING_CALL(
                        READ_VARIABLE,
                        fVariable->get_yielding(
                            task, retVal, accessType == AccessType::GET ? AccessType::GET_CREATE : accessType,
                            scope, scriptPhase));
                case resumeAfter(READ_VARIABLE):
                    s.fState = kFinished;
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

void OMExpressionKeyword::set_yielding(const std::shared_ptr<Task>& task, bool& retVal,
                                       std::shared_ptr<IOMNode>& value, const std::shared_ptr<OMScope>& scope,
                                       ScriptPhase scriptPhase)
{
    struct LocalVariableState : virtual OMFunctionState {};
    enum : unsigned { WRITE_VARIABLE = 1 };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) retVal = false;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0:
                    s.fState = kFinished;
                    if (fToken != Token::_var) {
                        LOG_ERROR("setting value on keyword");
                        break;
                    }
                    s.fState = WRITE_VARIABLE;
                    break;
                    YIELDING_CALL(WRITE_VARIABLE,
                                  fVariable->set_yielding(task, retVal, value, scope, scriptPhase));
                case resumeAfter(WRITE_VARIABLE):
                    s.fState = kFinished;
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

bool OMExpressionKeyword::computeAtOnce(AtOnceMode mode) const
{
    if (fToken == Token::_var) return fVariable && fVariable->isSettableAtOnce(mode);
    return true;
}

// The steps of get_yielding in one go: `var` reaches its variable for writing.
bool OMExpressionKeyword::getAtOnce(const std::shared_ptr<OMScope>& scope, std::shared_ptr<IOMNode>& retVal)
{
    try {
        do {
            switch (fToken) {
                case Token::_var:
                    SANITY_CHECK(fVariable);
                    return fVariable->declareAtOnce(scope, retVal);
                case Token::_break:
                    retVal = OMStored::factory(std::const_pointer_cast<OMExpression>(shared_from_this()));
                    return true;
                case Token::_debugger:
                    LOG_TRACE("debugger triggered");
                    retVal = OMStored::undefinedFactory();
                    return true;
                default:
                    retVal = OMStored::undefinedFactory();
                    return true;
            }
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    retVal.reset();
    return true;
}

bool OMExpressionKeyword::setAtOnce(const std::shared_ptr<OMScope>& scope,
                                    const std::shared_ptr<IOMNode>& value, bool& stored)
{
    if (fToken != Token::_var || !fVariable) return false;
    return fVariable->setAtOnce(scope, value, stored);
}

}  // namespace Qfn
