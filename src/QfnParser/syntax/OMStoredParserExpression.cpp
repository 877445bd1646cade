// One expression of the script language: a character-driven state machine. The frame's states
// make the nested resumable calls; the parse phase says what the result of each call means.
#include "QfnParser/expressions/OMExpressionLValueCall.h"
#include "QfnParser/expressions/OMExpressionLValueIndex.h"
#include "QfnParser/expressions/OMExpressionLValueIndexByExpression.h"
#include "QfnParser/expressions/OMExpressionLValueStr.h"
#include "QfnParser/expressions/OMExpressionLValueToken.h"
#include "QfnParser/syntax/OMStoredParserFrame.h"

namespace Qfn {

std::string& OMStored::lastParseError()
{
    thread_local std::string message;
    return message;
}

namespace ParserExpression {

std::string& lastParseError()
{
    return OMStored::lastParseError();
}

NodePtr nameLink(const NodePtr& parent, const std::string& name, const SourcePlace& place)
{
    Token token = OMStored::strToToken(name);
    std::shared_ptr<OMExpressionLValue> link;
    if (OMStored::isBuiltinFunctionToken(token))
        link = OMExpressionLValueToken::factory(parent, token);
    else
        link = OMExpressionLValueStr::factory(parent, name);
    if (link) link->setPlace(place);
    return OMStored::factory(link);
}

std::string bareName(const NodePtr& node)
{
    auto expression = node && node->getType() == OMType::Expression ? node->getExpression() : nullptr;
    auto lvalue = std::dynamic_pointer_cast<OMExpressionLValue>(expression);
    if (!lvalue || lvalue->getParent() || (lvalue->getArgumentList() && !lvalue->getArgumentList()->empty()))
        return "";
    if (auto str = std::dynamic_pointer_cast<OMExpressionLValueStr>(lvalue)) return str->getIdentifier();
    if (auto token = std::dynamic_pointer_cast<OMExpressionLValueToken>(lvalue))
        return OMStored::tokenToStr(token->getToken());
    return "";
}

bool isUndefined(const NodePtr& node)
{
    return !node || node->getType() == OMType::Undefined;
}

bool consumesSemicolon(ParseType parseType)
{
    switch (parseType) {
        case ParseType::ListElement:
        case ParseType::ForBody:
        case ParseType::ReturnValue:
        case ParseType::FileTop:
        case ParseType::Statement:
        case ParseType::BlockBody:
            return true;
        default:
            return false;
    }
}

namespace {

// The name just read started this many bytes back.
SourcePlace placeOfName(Frame& s)
{
    const uint64_t pos = s.stream->getPos();
    return {s.stream->getSourceId(), pos >= s.name.size() ? pos - s.name.size() : 0};
}

// operand := unary* ( string | number | name | "(" statement ")" | array | object | block | heredoc )
void onOperand(Frame& s)
{
    const int c = s.c;
    switch (c) {
        case kEndOfInput:
            if (!s.operators.empty() || !s.unaryOps.empty())
                PARSE_ERROR(s, "unexpected end of inputStream");
            else
                finish(s);
            return;
        case '!':
        case '~':
            s.unaryOps.push_back(c == '!' ? UnOp::NOT : UnOp::BIT_NOT);
            s.stream->advance();
            expectOperand(s);
            return;
        case '+':
        case '-':
            s.stream->advance();
            peek(s, c == '+' ? Phase::OperandPlus : Phase::OperandMinus);
            return;
        case '"':
        case '\'':
            s.stream->advance();
            s.quote = c;
            s.subSuccess = false;
            s.phase = Phase::StringRead;
            s.fState = QUOTED;
            return;
        case '(':
            s.stream->advance();
            subExpression(s, Phase::ParenDone, ParseType::Statement, s.nestLevel + 1);
            return;
        case '[':
            s.stream->advance();
            s.literal = OMStored::arrayFactory();
            readSkipping(s, Phase::ArrayStart, false);
            return;
        case '{':
            s.stream->advance();
            readSkipping(s, Phase::ObjectStart, false);
            return;
        case '<':
            s.stream->advance();
            peek(s, Phase::OperandLess);
            return;
        case ')':
        case '}':
            finish(s);
            return;
        case ',':
            if (s.operands.empty()) {
                finish(s);
                return;
            }
            s.stream->advance();
            expectOperand(s);
            return;
        case ';':
            if (s.parseType == ParseType::ListElement || s.parseType == ParseType::ForBody ||
                s.parseType == ParseType::ReturnValue) {
                s.stream->advance();
                finish(s);
            } else if (s.operands.empty()) {
                finish(s);
            } else {
                s.stream->advance();
                expectOperand(s);
            }
            return;
        default:
            break;
    }
    if (isDigit(c) || c == '.') {
        s.sub = OMStored::undefinedFactory();
        s.subSuccess = false;
        s.phase = Phase::NumberRead;
        s.fState = NUMBER;
    } else if (ParserLexer::isNameStart(c, NameKind::Identifier)) {
        readName(s, Phase::NameRead, NameKind::Identifier);
    } else {
        PARSE_ERROR(s, "unexpected character");
    }
}

// "++" and "--" before an operand; a single sign is unary plus or minus.
void onOperandSign(Frame& s, int sign)
{
    if (s.c == sign) {
        s.stream->advance();
        s.unaryOps.push_back(sign == '+' ? UnOp::PRE_INC : UnOp::PRE_DEC);
    } else {
        s.unaryOps.push_back(sign == '+' ? UnOp::PLUS : UnOp::NEG);
    }
    expectOperand(s);
}

void onNameRead(Frame& s)
{
    if (s.name.empty()) {
        PARSE_ERROR(s, "unexpected character");
        return;
    }
    s.token = OMStored::strToToken(s.name);
    if (s.token == Token::_none || OMStored::isBuiltinFunctionToken(s.token)) {
        startChain(s, nameLink(nullptr, s.name, placeOfName(s)), true);
        return;
    }
    onKeyword(s);
}

// lvalue := head ( "." name | "[" condition "]" | "(" arguments ")" )*
void onLValue(Frame& s)
{
    switch (s.c) {
        case '(':
            if (!s.isChainCallable) break;
            s.stream->advance();
            s.arguments = std::make_shared<std::vector<NodePtr>>();
            readSkipping(s, Phase::ArgStart, false);
            return;
        case '.':
            s.stream->advance();
            readName(s, Phase::MemberNameRead, NameKind::Identifier);
            return;
        case '[':
            s.stream->advance();
            subExpression(s, Phase::IndexDone, ParseType::Condition, s.nestLevel + 1);
            return;
        case ':':
            // The end of a ternary's first value, or of an object literal's first key.
            if (s.parseType == ParseType::TernaryFirst || s.parseType == ParseType::Condition) break;
            PARSE_ERROR(s, "unexpected character");
            return;
        default:
            break;
    }
    pushOperand(s, s.chain, AfterPush::AfterOperand);
    s.chain = nullptr;
}

void onMemberNameRead(Frame& s)
{
    if (s.name.empty()) {
        PARSE_ERROR(s, "unexpected character");
        return;
    }
    startChain(s, nameLink(s.chain, s.name, placeOfName(s)), true);
}

void makeCall(Frame& s)
{
    // The call stands where its callee's name does, when it has one.
    SourcePlace place{s.stream->getSourceId(), s.stream->getPos()};
    if (auto callee = std::dynamic_pointer_cast<OMExpressionLValue>(OMExpression::expressionOf(s.chain)))
        if (callee->getPlace().sourceId != 0) place = callee->getPlace();
    s.stream->advance();
    auto call = OMExpressionLValueCall::factory(s.chain, s.arguments);
    if (call) call->setPlace(place);
    startChain(s, OMStored::factory(call), true);
}

void onArgStart(Frame& s)
{
    if (s.c == ')')
        makeCall(s);
    else
        subExpression(s, Phase::ArgDone, ParseType::Argument, s.nestLevel + 1);
}

void onArgAfter(Frame& s)
{
    if (s.c == ',') {
        s.stream->advance();
        subExpression(s, Phase::ArgDone, ParseType::Argument, s.nestLevel + 1);
    } else if (s.c == ')') {
        makeCall(s);
    } else {
        PARSE_ERROR(s, "expected ',' or ')'; argument list parse failed");
    }
}

void onIndexClose(Frame& s)
{
    if (s.c != ']') {
        PARSE_ERROR(s, "closing ']' expected");
        return;
    }
    s.stream->advance();
    if (s.sub->getType() == OMType::Int) {
        if (s.sub->getInt() < 0) {
            PARSE_ERROR(s, "negative index value");
            return;
        }
        auto idx = static_cast<uint64_t>(s.sub->getInt());
        startChain(s, OMStored::factory(OMExpressionLValueIndex::factory(s.chain, idx)), true);
        return;
    }
    startChain(s, OMStored::factory(OMExpressionLValueIndexByExpression::factory(s.chain, s.sub)), true);
}

// Compound assignment: `a op= rest` becomes `a = a op rest`, rest parsed to the expression's end.
void startCompound(Frame& s, BinOp binOp)
{
    s.stream->advance();
    s.compoundOp = binOp;
    s.compoundLeft = s.operands.back();
    s.operators.push_back(BinOp::ASSIGN);
    s.operatorsSeen.insert(BinOp::ASSIGN);
    subExpression(s, Phase::CompoundRestDone, s.parseType, s.nestLevel);
}

// After an operand: an operator, the start of a chain, or the end of the expression.
void onAfterOperand(Frame& s)
{
    const int c = s.c;
    switch (c) {
        case kEndOfInput:
        case '\r':
        case '\n':
            finish(s);
            return;
        case ';':
            if (consumesSemicolon(s.parseType)) s.stream->advance();
            finish(s);
            return;
        case '*':
        case '/':
        case '^':
            s.stream->advance();
            s.compoundOp = c == '*' ? BinOp::MUL : c == '/' ? BinOp::DIV : BinOp::BIT_XOR;
            peek(s, Phase::CompoundTest);
            return;
        case '+':
        case '-':
        case '<':
        case '>':
        case '=':
        case '!':
        case '&':
        case '|': {
            s.stream->advance();
            static const std::pair<int, Phase> kNextPhase[] = {
                {'+', Phase::AfterPlus},    {'-', Phase::AfterMinus}, {'<', Phase::AfterLess},
                {'>', Phase::AfterGreater}, {'=', Phase::AfterEq},    {'!', Phase::AfterBang},
                {'&', Phase::AfterAmp},     {'|', Phase::AfterBar}};
            for (const auto& [character, next] : kNextPhase) {
                if (character == c) peek(s, next);
            }
            return;
        }
        case ',':
            switch (s.parseType) {
                case ParseType::Statement:
                case ParseType::ForClause:
                case ParseType::FileTop:
                    s.stream->advance();
                    pushOperator(s, BinOp::COMMA);
                    return;
                case ParseType::ObjectValue:
                case ParseType::ArrayElement:
                case ParseType::Argument:
                case ParseType::Parameter:
                case ParseType::ListElement:
                case ParseType::ForBody:
                case ParseType::Condition:
                    finish(s);
                    return;
                default:
                    PARSE_ERROR(s, "unexpected parseType");
                    return;
            }
        case '?':
            s.stream->advance();
            subExpression(s, Phase::TernaryFirstDone, ParseType::TernaryFirst, s.nestLevel + 1);
            return;
        case '.':
        case '[':
            // The last operand heads a chain: `(a + b).x`, `{}['k']`.
            if (!s.operands.back()) break;
            s.chain = s.operands.back();
            s.operands.pop_back();
            s.isChainCallable = s.chain->isLValue();
            continueChain(s);
            return;
        default:
            break;
    }
    finish(s);
}

void onCompoundTest(Frame& s)
{
    if (s.c == '=')
        startCompound(s, s.compoundOp);
    else
        pushOperator(s, s.compoundOp);
}

// "+" after an operand: "++" after an l-value increments it, "+=" assigns, else addition.
void onAfterSign(Frame& s, int sign)
{
    const BinOp binOp = sign == '+' ? BinOp::ADD : BinOp::SUB;
    const NodePtr& last = s.operands.back();
    if (s.c == sign && last && last->isLValue()) {
        s.stream->advance();
        s.unOp = sign == '+' ? UnOp::POST_INC : UnOp::POST_DEC;
        s.node1 = last;
        s.registered = nullptr;
        s.phase = Phase::PostfixDone;
        s.fState = REGISTER_UNARY;
    } else if (s.c == '=') {
        startCompound(s, binOp);
    } else {
        pushOperator(s, binOp);
    }
}

// Takes the second character of a two-character operator when it is `second`.
void pushOneOrTwo(Frame& s, int second, BinOp withSecond, BinOp without)
{
    if (s.c == second) {
        s.stream->advance();
        pushOperator(s, withSecond);
    } else {
        pushOperator(s, without);
    }
}

void onTernarySecondDone(Frame& s)
{
    if (!s.subSuccess) {
        PARSE_ERROR(s, "invalid second value");
        return;
    }
    s.ternaries.emplace_back(s.node2, s.sub);
    s.operands.push_back(nullptr);  // stands for the pair until the reduction
    s.operators.push_back(BinOp::TERNARY);
    s.operatorsSeen.insert(BinOp::TERNARY);
    afterOperand(s);
}

bool isPhaseIn(Phase phase, Phase first, Phase last)
{
    return phase >= first && phase <= last;
}

// Operators after an operand: + - < > = ! & | && || and the two halves of ?:. False when the state
// is none of these.
bool stepOperator(Frame& s)
{
    switch (s.phase) {
        case Phase::AfterOperand:
            onAfterOperand(s);
            break;
        case Phase::CompoundTest:
            onCompoundTest(s);
            break;
        case Phase::AfterPlus:
            onAfterSign(s, '+');
            break;
        case Phase::AfterMinus:
            onAfterSign(s, '-');
            break;
        case Phase::PostfixDone:
            onRegistered(s, "failed to register unary operation", [&] {
                s.operands.back() = s.registered;
                afterOperand(s);
            });
            break;
        case Phase::AfterLess:
            pushOneOrTwo(s, '=', BinOp::LE, BinOp::LT);
            break;
        case Phase::AfterGreater:
            pushOneOrTwo(s, '=', BinOp::GE, BinOp::GT);
            break;
        case Phase::AfterEq:
            if (s.c == '=') {
                s.stream->advance();
                peek(s, Phase::AfterEqEq);
            } else {
                pushOperator(s, BinOp::ASSIGN);
            }
            break;
        case Phase::AfterEqEq:
            pushOneOrTwo(s, '=', BinOp::IDENTICAL, BinOp::EQ);
            break;
        case Phase::AfterBang:
            expectChar(s, '=', "unexpected character after !", [&] { peek(s, Phase::AfterBangEq); });
            break;
        case Phase::AfterBangEq:
            pushOneOrTwo(s, '=', BinOp::NOT_IDENTICAL, BinOp::NE);
            break;
        case Phase::AfterAmp:
        case Phase::AfterBar: {
            const int twice = s.phase == Phase::AfterAmp ? '&' : '|';
            if (s.c == twice) {
                s.stream->advance();
                s.compoundOp = twice == '&' ? BinOp::AND : BinOp::OR;
                peek(s, Phase::CompoundTest);
            } else {
                pushOperator(s, twice == '&' ? BinOp::BIT_AND : BinOp::BIT_OR);
            }
            break;
        }
        case Phase::CompoundRestDone:
            onSubResult(s, "invalid expression", [&] {
                registerBinary(s, Phase::CompoundRegistered, s.compoundOp, s.compoundLeft, s.sub);
            });
            break;
        case Phase::CompoundRegistered:
            onRegistered(s, "failed to register binary operation", [&] {
                s.operands.push_back(s.registered);
                finish(s);
            });
            break;
        case Phase::TernaryFirstDone:
            onSubResult(s, "invalid first value", [&] {
                s.node2 = s.sub;
                readSkipping(s, Phase::TernarySkipped, false);
            });
            break;
        case Phase::TernarySkipped:
            matchKeyword(s, Phase::TernaryColon, CHARS, ":");
            break;
        case Phase::TernaryColon:
            if (!s.matched)
                PARSE_ERROR(s, "missing : in ?:");
            else
                subExpression(s, Phase::TernarySecondDone, ParseType::Condition, s.nestLevel);
            break;
        case Phase::TernarySecondDone:
            onTernarySecondDone(s);
            break;
        default:
            return false;
    }
    return true;
}

// Operands: signs, strings, numbers, names, here-documents, parentheses and l-value chains; and
// what follows a push or a reduction.
void stepOperand(Frame& s)
{
    switch (s.phase) {
        case Phase::Operand:
            onOperand(s);
            break;
        case Phase::OperandPlus:
            onOperandSign(s, '+');
            break;
        case Phase::OperandMinus:
            onOperandSign(s, '-');
            break;
        case Phase::OperandLess:
            expectChar(s, '<', "unexpected character", [&] {
                s.subSuccess = false;
                s.phase = Phase::HereDocRead;
                s.fState = HEREDOC;
            });
            break;
        case Phase::StringRead:
            // The string reader has said what went wrong.
            if (!s.subSuccess)
                s.fState = kFinished;
            else
                startChain(s, OMStored::factory(s.text), false);
            break;
        case Phase::NumberRead:
            onSubResult(s, "number parse failed", [&] { pushOperand(s, s.sub, AfterPush::AfterOperand); });
            break;
        case Phase::NameRead:
            onNameRead(s);
            break;
        case Phase::HereDocRead:
            if (!s.subSuccess)
                s.fState = kFinished;
            else
                pushOperand(s, OMStored::factory(s.text), AfterPush::AfterOperand);
            break;
        case Phase::ParenDone:
            onSubResult(s, "parenthesized subexpression parse failed",
                        [&] { readSkipping(s, Phase::ParenClose, false); });
            break;
        case Phase::ParenClose:
            expectChar(s, ')', "expected closing ')'", [&] { startChain(s, s.sub, false); });
            break;
        case Phase::LValue:
            onLValue(s);
            break;
        case Phase::MemberNameRead:
            onMemberNameRead(s);
            break;
        case Phase::ArgStart:
            onArgStart(s);
            break;
        case Phase::ArgDone:
            onSubResult(s, "argument parse failed", [&] {
                s.arguments->push_back(s.sub);
                readSkipping(s, Phase::ArgAfter, false);
            });
            break;
        case Phase::ArgAfter:
            onArgAfter(s);
            break;
        case Phase::IndexDone:
            onSubResult(s, "parse error in index value", [&] { readSkipping(s, Phase::IndexClose, false); });
            break;
        case Phase::IndexClose:
            onIndexClose(s);
            break;
        case Phase::Pushed:
            if (!s.pushSuccess)
                PARSE_ERROR(s, "failed to push to operand task");
            else if (s.afterPush == AfterPush::StatementEnd)
                finish(s);
            else
                afterOperand(s);
            break;
        case Phase::Reduced:
            if (!s.registered) {
                PARSE_ERROR(s, s.reduceLevel == static_cast<int>(BinOp::TERNARY)
                                   ? "failed to register ternary operation"
                                   : "failed to register binary operation");
                break;
            }
            s.operands[s.reduceIdx] = s.registered;
            s.operands.erase(s.operands.begin() + static_cast<ptrdiff_t>(s.reduceIdx) + 1);
            s.operators.erase(s.operators.begin() + static_cast<ptrdiff_t>(s.reduceIdx));
            s.fState = REDUCE;
            break;
        default:
            PARSE_ERROR(s, "unexpected state in switch");
            break;
    }
}

// One parse state. The states are grouped in Phase, and each group has its own stepper.
void step(Frame& s)
{
    if (isPhaseIn(s.phase, Phase::ArrayStart, Phase::BlockJoined))
        stepLiteral(s);
    else if (isPhaseIn(s.phase, Phase::KeywordRegistered, Phase::VarRegistered))
        stepStatement(s);
    else if (!stepOperator(s))
        stepOperand(s);
}

// The operator to fold next: the first of the lowest level present, the last for `=`.
bool nextReduction(Frame& s)
{
    for (; s.reduceLevel <= static_cast<int>(BinOp::SEMICOLON); ++s.reduceLevel) {
        auto level = static_cast<BinOp>(s.reduceLevel);
        if (!s.operatorsSeen.count(level)) continue;
        if (level == BinOp::ASSIGN) {
            for (size_t idx = s.operators.size(); idx-- > 0;) {
                if (s.operators[idx] != level) continue;
                s.reduceIdx = idx;
                return true;
            }
            continue;
        }
        for (size_t idx = 0; idx < s.operators.size(); ++idx) {
            if (s.operators[idx] != level) continue;
            s.reduceIdx = idx;
            return true;
        }
    }
    return false;
}

// Sets up the call that folds the operator found by nextReduction.
void reduce(Frame& s)
{
    const size_t idx = s.reduceIdx;
    if (s.operators[idx] != BinOp::TERNARY) {
        registerBinary(s, Phase::Reduced, s.operators[idx], s.operands[idx], s.operands[idx + 1]);
        return;
    }
    if (s.ternaries.empty() || !s.operands[idx]) {
        PARSE_ERROR(s, "unexpected state in switch");
        return;
    }
    auto [first, second] = s.ternaries.front();
    s.ternaries.pop_front();
    registerTernary(s, Phase::Reduced, TernOp::CONDITIONAL, s.operands[idx], first, second);
}

}  // namespace

}  // namespace ParserExpression

using namespace ParserExpression;

// expression := operand ( operator operand )*, folded one BinOp level at a time, `=` from the right
void OMStored::parseExpression_yielding(const std::shared_ptr<Task>& task, bool& success,
                                        const std::shared_ptr<InputStream>& stream, uint64_t level,
                                        ParseType parseType)
{
    try {
        YieldingFrame<ExpressionFrame> frame(task);
        if (frame.isFirstEntry()) success = false;
        ExpressionFrame& s = *frame;
        do {
            switch (s.fState) {
                case 0:
                    s.stream = stream;
                    s.nestLevel = level;
                    s.parseType = parseType;
                    if (!s.stream) {
                        PARSE_ERROR(s, QFN_CHECK_TEXT("SANITY_CHECK", "stream"));
                        break;
                    }
                    s.isBlockBody = parseType == ParseType::BlockBody;
                    if (s.isBlockBody)
                        readSkipping(s, Phase::BlockStatement, false);
                    else
                        expectOperand(s);
                    break;
                    YIELDING_CALL(SKIP, ParserLexer::skipSpace_yielding(task, s.c, s.stream, s.newlineEnds));
                case resumeAfter(SKIP):
                case resumeAfter(PEEK):
                    if (s.c == kNothingYet) {
                        s.fState = s.fState == resumeAfter(SKIP) ? SKIP : PEEK;
                        s.c = ParserLexer::kNoChar;
                    } else if (s.c == ParserLexer::kNoChar) {
                        s.fState = kFinished;  // the reader could not start; it has said why
                    } else {
                        step(s);
                    }
                    break;
                    YIELDING_CALL(PEEK, ParserLexer::readChar_yielding(task, s.c, s.stream));
                    YIELDING_CALL(SUB_EXPRESSION,
                                  s.sub->parseExpression_yielding(task, s.subSuccess, s.stream, s.subLevel,
                                                                  s.subParseType));
                    YIELDING_CALL(NUMBER,
                                  s.sub->parseNum_yielding(task, s.subSuccess, s.stream, kFloatForms));
                    YIELDING_CALL(QUOTED, ParserLexer::readQuoted_yielding(task, s.subSuccess, s.text,
                                                                           s.stream, s.quote));
                    YIELDING_CALL(NAME, ParserLexer::readName_yielding(task, s.name, s.stream, s.nameKind));
                    YIELDING_CALL(HEREDOC,
                                  ParserLexer::readHereDoc_yielding(task, s.subSuccess, s.text, s.stream));
                    YIELDING_CALL(KEYWORD, parseKeyword_yielding(task, s.matched, s.stream, s.keyword));
                    YIELDING_CALL(CHARS, parseChars_yielding(task, s.matched, s.stream, s.keyword));
                    YIELDING_CALL(PUSH, pushOperandOnStack_yielding(task, s.pushSuccess, s.operand,
                                                                    s.unaryOps, s.operands));
                    YIELDING_CALL(REGISTER_BINARY, registerBinaryOperation_yielding(
                                                       task, s.registered, s.binOp, s.node1, s.node2));
                    YIELDING_CALL(REGISTER_UNARY,
                                  registerUnaryOperation_yielding(task, s.registered, s.unOp, s.node1));
                    YIELDING_CALL(REGISTER_TERNARY,
                                  registerTernaryOperation_yielding(task, s.registered, s.ternOp, s.node1,
                                                                    s.node2, s.node3));
                    YIELDING_CALL(REGISTER_KEYWORD,
                                  registerKeywordOperation_yielding(task, s.registered, s.token));
                    YIELDING_CALL(REGISTER_VAR, registerVarOperation_yielding(task, s.registered, s.name));
                    YIELDING_CALL(SET_MEMBER, s.literal->set_yielding(task, s.stored, s.name, s.operand));
                case resumeAfter(SUB_EXPRESSION):
                case resumeAfter(NUMBER):
                case resumeAfter(QUOTED):
                case resumeAfter(NAME):
                case resumeAfter(HEREDOC):
                case resumeAfter(KEYWORD):
                case resumeAfter(CHARS):
                case resumeAfter(PUSH):
                case resumeAfter(REGISTER_BINARY):
                case resumeAfter(REGISTER_UNARY):
                case resumeAfter(REGISTER_TERNARY):
                case resumeAfter(REGISTER_KEYWORD):
                case resumeAfter(REGISTER_VAR):
                case resumeAfter(SET_MEMBER):
                    step(s);
                    break;
                case FINISH_EXPRESSION:
                    if (!s.unaryOps.empty()) {
                        PARSE_ERROR(s, "unexpected character");
                        break;
                    }
                    // An empty expression, or one that ends after an operator, gets an undefined operand.
                    if (s.operands.size() != s.operators.size() + 1)
                        s.operands.push_back(OMStored::undefinedFactory());
                    if (s.operands.size() != s.operators.size() + 1) {
                        PARSE_ERROR(s, "unexpected state in switch");
                        break;
                    }
                    s.reduceLevel = static_cast<int>(BinOp::INDEX);
                    s.fState = REDUCE;
                    break;
                case REDUCE:
                    if (s.operators.empty()) {
                        success = s.operands.front() && setTo(*s.operands.front(), 0);
                        if (!success) LOG_ERROR("unexpected state in switch");
                        s.fState = kFinished;
                    } else if (nextReduction(s)) {
                        reduce(s);
                    } else {
                        PARSE_ERROR(s, "unexpected state in switch");
                    }
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

}  // namespace Qfn
