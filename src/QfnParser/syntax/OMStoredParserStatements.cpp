// Statements of the script language: if, while, for, do, function, return, var and the keyword
// operations.
#include "QfnParser/expressions/OMExpressionLValueStr.h"
#include "QfnParser/expressions/OMExpressionSequence.h"
#include "QfnParser/syntax/OMStoredParserFrame.h"

namespace Qfn::ParserExpression {

namespace {

// A function value of the signature over the body; a body folded to a constant is wrapped.
std::shared_ptr<OMStored> functionNode(const std::shared_ptr<FunctionSignature>& signature,
                                       const NodePtr& body)
{
    std::shared_ptr<OMStored> retVal;
    try {
        do {
            SANITY_CHECK(signature);
            SANITY_CHECK(body);
            std::shared_ptr<OMExpression> expression =
                body->getType() == OMType::Expression ? body->getExpression() : nullptr;
            if (!expression) {
                auto sequence = OMExpressionSequence::factory(BinOp::SEMICOLON);
                SANITY_CHECK(sequence);
                SANITY_CHECK(sequence->appendNode(body));
                expression = sequence;
            }
            bool inLocalSequence = false;
            SANITY_CHECK(expression->scanForLocalVariables(signature, inLocalSequence));
            ASSIGN(retVal, OMStored::factory(signature, expression));
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// The function's name is its signature's first entry, empty when anonymous.
void onFunctionOpenParen(Frame& s)
{
    if (s.c != '(') {
        PARSE_ERROR(s, "expected '(' for parameter list");
        return;
    }
    s.stream->advance();
    s.functionSignature = FunctionSignature::factory();
    if (!s.functionSignature || !s.functionSignature->addParameter(s.functionName)) {
        PARSE_ERROR(s, "cannot parse parameter");
        return;
    }
    readSkipping(s, Phase::ParamStart, false);
}

void onForBodyDone(Frame& s)
{
    if (!s.subSuccess) {
        PARSE_ERROR(s, "invalid expression in 'for' body");
        return;
    }
    s.body = s.sub;
    if (!isUndefined(s.iteration))
        registerBinary(s, Phase::ForBodyJoined, BinOp::SEMICOLON, s.body, s.iteration);
    else
        registerBinary(s, Phase::ForLoopRegistered, BinOp::WHILE, s.condition, s.body);
}

void onFunctionStart(Frame& s)
{
    if (s.c == '(') {
        s.phase = Phase::FunctionOpen;
        onFunctionOpenParen(s);
    } else if (ParserLexer::isNameStart(s.c, NameKind::Identifier)) {
        readName(s, Phase::FunctionNameRead, NameKind::Identifier);
    } else {
        PARSE_ERROR(s, "expected function name or parameter list");
    }
}

void onParamDone(Frame& s)
{
    if (!s.subSuccess) {
        PARSE_ERROR(s, "cannot parse parameter");
        return;
    }
    std::string parameter = bareName(s.sub);
    if (parameter.empty() || !s.functionSignature->addParameter(parameter)) {
        PARSE_ERROR(s, "empty parameter name");
        return;
    }
    readSkipping(s, Phase::ParamAfter, false);
}

void onFunctionBodyDone(Frame& s)
{
    std::shared_ptr<OMStored> function = s.subSuccess ? functionNode(s.functionSignature, s.sub) : nullptr;
    if (!function) {
        PARSE_ERROR(s, "invalid scope");
        return;
    }
    if (s.functionName.empty()) {
        pushOperand(s, function, AfterPush::AfterOperand);
        return;
    }
    NodePtr target = OMStored::factory(OMExpressionLValueStr::factory(nullptr, s.functionName));
    registerBinary(s, Phase::FunctionAssigned, BinOp::ASSIGN, target, function);
}

void onBodyDone(Frame& s)
{
    if (!s.subSuccess) {
        PARSE_ERROR(s, "invalid expression");
        return;
    }
    s.body = s.sub;
    if (s.statement == Token::_while)
        registerBinary(s, Phase::WhileRegistered, BinOp::WHILE, s.condition, s.body);
    else
        readSkipping(s, Phase::IfElseCheck, false);
}

}  // namespace

// keyword := break | debugger | do | else | false | for | function | if | NaN | null | return | true
//          | typeof | undefined | var | while
void onKeyword(Frame& s)
{
    switch (s.token) {
        case Token::_break:
        case Token::_debugger:
            s.registered = nullptr;
            s.phase = Phase::KeywordRegistered;
            s.fState = REGISTER_KEYWORD;
            return;
        case Token::_do:
            readSkipping(s, Phase::DoBrace, false);
            return;
        case Token::_false:
        case Token::_true:
            pushOperand(s, OMStored::factory(s.token == Token::_true), AfterPush::AfterOperand);
            return;
        case Token::_NaN:
            pushOperand(s, OMStored::nanFactory(), AfterPush::AfterOperand);
            return;
        case Token::_null:
            pushOperand(s, OMStored::nullFactory(), AfterPush::AfterOperand);
            return;
        case Token::_undefined:
            pushOperand(s, OMStored::undefinedFactory(), AfterPush::AfterOperand);
            return;
        case Token::_for:
            readSkipping(s, Phase::ForOpen, false);
            return;
        case Token::_function:
            s.functionName.clear();
            readSkipping(s, Phase::FunctionStart, false);
            return;
        case Token::_if:
        case Token::_while:
            s.statement = s.token;
            readSkipping(s, Phase::CondOpen, false);
            return;
        case Token::_return:
            subExpression(s, Phase::ReturnDone, ParseType::ReturnValue, s.nestLevel);
            return;
        case Token::_typeof:
            s.unaryOps.push_back(UnOp::TYPEOF);
            expectOperand(s);
            return;
        case Token::_var:
            readSkipping(s, Phase::VarStart, false);
            return;
        default:
            PARSE_ERROR(s, "unexpected keyword");
            return;
    }
}

namespace {

// do Statement while ( Expression )
// False when the state is none of this construct's.
bool stepDoWhile(Frame& s)
{
    switch (s.phase) {
        case Phase::DoBrace:
            expectChar(s, '{', "invalid body in do-while",
                       [&] { subExpression(s, Phase::DoBodyDone, ParseType::BlockBody, 0); });
            break;
        case Phase::DoBodyDone:
            onSubResult(s, "invalid body in do-while", [&] {
                s.body = s.sub;
                readSkipping(s, Phase::DoWhile, false);
            });
            break;
        case Phase::DoWhile:
            matchKeyword(s, Phase::DoWhileMatched, KEYWORD, "while");
            break;
        case Phase::DoWhileMatched:
            if (!s.matched)
                PARSE_ERROR(s, "missing while");
            else
                readSkipping(s, Phase::DoOpen, false);
            break;
        case Phase::DoOpen:
            expectChar(s, '(', "invalid condition in do-while", [&] {
                subExpression(s, Phase::DoConditionDone, ParseType::Condition, s.nestLevel + 1);
            });
            break;
        case Phase::DoConditionDone:
            onSubResult(s, "invalid condition in do-while", [&] {
                s.condition = s.sub;
                readSkipping(s, Phase::DoClose, false);
            });
            break;
        case Phase::DoClose:
            expectChar(s, ')', "invalid condition in do-while",
                       [&] { registerBinary(s, Phase::DoRegistered, BinOp::DO_WHILE, s.body, s.condition); });
            break;
        case Phase::DoRegistered:
            onRegistered(s, "failed to parse do-while",
                         [&] { pushOperand(s, s.registered, AfterPush::StatementEnd); });
            break;
        default:
            return false;
    }
    return true;
}

// for ( Init ; Condition ; Iteration ) Statement
// False when the state is none of this construct's.
bool stepFor(Frame& s)
{
    switch (s.phase) {
        case Phase::ForOpen:
            expectChar(s, '(', "expected '(' in for",
                       [&] { subExpression(s, Phase::ForInitDone, ParseType::ForClause, s.nestLevel + 1); });
            break;
        case Phase::ForInitDone:
            onSubResult(s, "invalid initialization in for", [&] {
                s.init = s.sub;
                readSkipping(s, Phase::ForInitEnd, false);
            });
            break;
        case Phase::ForInitEnd:
            expectChar(s, ';', "invalid initialization in for",
                       [&] { readSkipping(s, Phase::ForConditionStart, false); });
            break;
        case Phase::ForConditionStart:
            // A missing condition is true: `for (;;)` runs until a break.
            if (s.c == ';') {
                s.condition = OMStored::factory(true);
                s.phase = Phase::ForConditionEnd;
                stepFor(s);
            } else {
                subExpression(s, Phase::ForConditionDone, ParseType::ForClause, s.nestLevel + 1);
            }
            break;
        case Phase::ForConditionDone:
            onSubResult(s, "invalid condition in for", [&] {
                s.condition = s.sub;
                readSkipping(s, Phase::ForConditionEnd, false);
            });
            break;
        case Phase::ForConditionEnd:
            expectChar(s, ';', "invalid condition in for", [&] {
                subExpression(s, Phase::ForIterationDone, ParseType::ForClause, s.nestLevel + 1);
            });
            break;
        case Phase::ForIterationDone:
            onSubResult(s, "invalid iteration in for", [&] {
                s.iteration = s.sub;
                readSkipping(s, Phase::ForIterationEnd, false);
            });
            break;
        case Phase::ForIterationEnd:
            expectChar(s, ')', "invalid iteration in for",
                       [&] { subExpression(s, Phase::ForBodyDone, ParseType::ForBody, 0); });
            break;
        case Phase::ForBodyDone:
            onForBodyDone(s);
            break;
        case Phase::ForBodyJoined:
            onRegistered(s, "failed to register binary operation", [&] {
                registerBinary(s, Phase::ForLoopRegistered, BinOp::WHILE, s.condition, s.registered);
            });
            break;
        case Phase::ForLoopRegistered:
            onRegistered(s, "failed to register binary operation", [&] {
                if (isUndefined(s.init))
                    pushOperand(s, s.registered, AfterPush::StatementEnd);
                else
                    registerBinary(s, Phase::ForInitJoined, BinOp::SEMICOLON, s.init, s.registered);
            });
            break;
        case Phase::ForInitJoined:
            onRegistered(s, "failed to register binary operation",
                         [&] { pushOperand(s, s.registered, AfterPush::StatementEnd); });
            break;
        default:
            return false;
    }
    return true;
}

// function Name? ( Parameters ) { Body }
// False when the state is none of this construct's.
bool stepFunction(Frame& s)
{
    switch (s.phase) {
        case Phase::FunctionStart:
            onFunctionStart(s);
            break;
        case Phase::FunctionNameRead:
            s.functionName = s.name;
            readSkipping(s, Phase::FunctionOpen, false);
            break;
        case Phase::FunctionOpen:
            onFunctionOpenParen(s);
            break;
        case Phase::ParamStart:
            if (s.c == ')') {
                s.stream->advance();
                readSkipping(s, Phase::FunctionBrace, false);
            } else {
                subExpression(s, Phase::ParamDone, ParseType::Parameter, s.nestLevel + 1);
            }
            break;
        case Phase::ParamDone:
            onParamDone(s);
            break;
        case Phase::ParamAfter:
            if (s.c == ',') {
                s.stream->advance();
                subExpression(s, Phase::ParamDone, ParseType::Parameter, s.nestLevel + 1);
            } else {
                expectChar(s, ')', "expected ')' or ',' in parameter list",
                           [&] { readSkipping(s, Phase::FunctionBrace, false); });
            }
            break;
        case Phase::FunctionBrace:
            expectChar(s, '{', "no function scope '{'",
                       [&] { subExpression(s, Phase::FunctionBodyDone, ParseType::BlockBody, 0); });
            break;
        case Phase::FunctionBodyDone:
            onFunctionBodyDone(s);
            break;
        case Phase::FunctionAssigned:
            onRegistered(s, "failed to register binary operation",
                         [&] { pushOperand(s, s.registered, AfterPush::StatementEnd); });
            break;
        default:
            return false;
    }
    return true;
}

// if ( Condition ) Statement [else Statement] | while ( Condition ) Statement
// False when the state is none of this construct's.
bool stepConditional(Frame& s)
{
    switch (s.phase) {
        case Phase::CondOpen:
            expectChar(s, '(', "expected '('",
                       [&] { subExpression(s, Phase::CondDone, ParseType::Condition, s.nestLevel + 1); });
            break;
        case Phase::CondDone:
            onSubResult(s, "invalid expression in condition", [&] {
                s.condition = s.sub;
                readSkipping(s, Phase::CondClose, false);
            });
            break;
        case Phase::CondClose:
            expectChar(s, ')', "expected closing ')'",
                       [&] { subExpression(s, Phase::BodyDone, ParseType::Condition, 0); });
            break;
        case Phase::BodyDone:
            onBodyDone(s);
            break;
        case Phase::WhileRegistered:
            onRegistered(s, "failed to register binary operation",
                         [&] { pushOperand(s, s.registered, AfterPush::StatementEnd); });
            break;
        case Phase::IfElseCheck:
            // `if (x) a = 1; else b = 2`: the semicolon belongs to the if-body.
            if (s.c == ';') {
                s.stream->advance();
                readSkipping(s, Phase::IfElseKeyword, false);
            } else {
                matchKeyword(s, Phase::ElseMatched, KEYWORD, "else");
            }
            break;
        case Phase::IfElseKeyword:
            matchKeyword(s, Phase::ElseMatched, KEYWORD, "else");
            break;
        case Phase::ElseMatched:
            if (s.matched) {
                subExpression(s, Phase::ElseDone, ParseType::Condition, 0);
            } else {
                registerTernary(s, Phase::IfRegistered, TernOp::IF, s.condition, s.body,
                                OMStored::undefinedFactory());
            }
            break;
        case Phase::ElseDone:
            onSubResult(s, "invalid expression", [&] {
                registerTernary(s, Phase::IfRegistered, TernOp::IF, s.condition, s.body, s.sub);
            });
            break;
        case Phase::IfRegistered:
            onRegistered(s, "failed to register ternary operation",
                         [&] { pushOperand(s, s.registered, AfterPush::StatementEnd); });
            break;
        default:
            return false;
    }
    return true;
}

// return Value | var Name | a keyword operation
// False when the state is none of this construct's.
bool stepValueStatement(Frame& s)
{
    switch (s.phase) {
        case Phase::KeywordRegistered:
            onRegistered(s, "failed to register keyword operation",
                         [&] { pushOperand(s, s.registered, AfterPush::AfterOperand); });
            break;
        case Phase::ReturnDone:
            onSubResult(s, "parse error in return value", [&] {
                s.unaryOps.push_back(UnOp::RETURN);
                pushOperand(s, s.sub, AfterPush::StatementEnd);
            });
            break;
        case Phase::VarStart:
            if (ParserLexer::isNameStart(s.c, NameKind::Identifier))
                readName(s, Phase::VarNameRead, NameKind::Identifier);
            else
                PARSE_ERROR(s, "unexpected character");
            break;
        case Phase::VarNameRead:
            s.registered = nullptr;
            s.phase = Phase::VarRegistered;
            s.fState = REGISTER_VAR;
            break;
        case Phase::VarRegistered:
            onRegistered(s, "failed to register keyword operation",
                         [&] { pushOperand(s, s.registered, AfterPush::AfterOperand); });
            break;
        default:
            return false;
    }
    return true;
}

}  // namespace

void stepStatement(Frame& s)
{
    if (stepDoWhile(s) || stepFor(s) || stepFunction(s) || stepConditional(s) || stepValueStatement(s))
        return;
    PARSE_ERROR(s, "unexpected state in switch");
}

}  // namespace Qfn::ParserExpression
