#pragma once

#include <memory>
#include <string>

#include "QfnParser/expressions/OMExpressionLValueStr.h"
#include "QfnParser/model/Token.h"

namespace Qfn {

// `break`, `debugger`, and `var name`. A `break` evaluates to its own node, which the enclosing
// statement lists and loops recognise as the break mark.
class OMExpressionKeyword : public OMExpression {
public:
    static std::shared_ptr<OMExpressionKeyword> factory(Token token);
    // `var name`.
    static std::shared_ptr<OMExpressionKeyword> varFactory(const std::string& name);

    void get_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                      AccessType accessType, const std::shared_ptr<OMScope>& scope,
                      ScriptPhase scriptPhase) override;
    void set_yielding(const std::shared_ptr<Task>& task, bool& retVal, std::shared_ptr<IOMNode>& value,
                      const std::shared_ptr<OMScope>& scope, ScriptPhase scriptPhase) override;
    std::string toString() const override;
    uint64_t hash() const override;
    bool operator==(const OMExpression& other) const override;
    bool operator<(const OMExpression& other) const override;
    bool scanForLocalVariables(const std::shared_ptr<FunctionSignature>& functionSignature,
                               bool& inLocalSequence) override;
    bool isKeyword() const override { return true; }
    bool isKeyword(Token token) const override { return token == fToken; }
    // `var x = 1` assigns to the variable it declares.
    bool isLValue() const override { return fToken == Token::_var; }
    bool isSettableAtOnce(AtOnceMode mode) const override { return fToken == Token::_var && isAtOnce(mode); }
    bool getAtOnce(const std::shared_ptr<OMScope>& scope, std::shared_ptr<IOMNode>& retVal) override;
    bool setAtOnce(const std::shared_ptr<OMScope>& scope, const std::shared_ptr<IOMNode>& value,
                   bool& stored) override;

    Token getToken() const { return fToken; }
    const std::string& getName() const { return fName; }

protected:
    bool computeAtOnce(AtOnceMode mode) const override;

private:
    OMExpressionKeyword(Token token, std::string name) : fToken(token), fName(std::move(name)) {}

    Token fToken;
    std::string fName;                                 // the variable of `var`
    std::shared_ptr<OMExpressionLValueStr> fVariable;  // reads and writes of that variable
};

}  // namespace Qfn
