// Array and object literals, and blocks of statements, of the script language's expressions.
#include "QfnParser/syntax/OMStoredParserFrame.h"

namespace Qfn::ParserExpression {

namespace {

void onArrayAfterElement(Frame& s)
{
    if (s.c == ',') {
        s.stream->advance();
        readSkipping(s, Phase::ArrayStart, false);
    } else if (s.c == ']') {
        s.stream->advance();
        startChain(s, s.literal, false);
    } else if (s.c == kEndOfInput) {
        PARSE_ERROR(s, "unexpected end of inputStream");
    } else {
        PARSE_ERROR(s, "unexpected character expecting , or ] in array");
    }
}

void onObjectStart(Frame& s)
{
    if (s.c == '}') {
        s.stream->advance();
        startChain(s, OMStored::mapFactory(), false);
    } else if (s.c == kEndOfInput) {
        PARSE_ERROR(s, "unexpected end of inputStream");
    } else {
        // Statement context: the first item may be the first statement of a block.
        subExpression(s, Phase::ObjectFirstDone, ParseType::Condition, 0);
    }
}

// A ':' after the first item makes a map of the literal; anything else a block.
void onObjectAfterFirst(Frame& s)
{
    if (s.c != ':') {
        s.block = s.node1;
        s.isBlockBody = false;
        readSkipping(s, Phase::BlockStatement, false);
        return;
    }
    s.stream->advance();
    if (s.node1->getType() == OMType::String) {
        s.name = s.node1->getString();
    } else {
        s.name = bareName(s.node1);
        if (s.node1->getType() != OMType::Expression) {
            PARSE_ERROR(s, "invalid property");
            return;
        }
        if (s.name.empty()) {
            PARSE_ERROR(s, "empty property name");
            return;
        }
    }
    s.literal = OMStored::mapFactory();
    subExpression(s, Phase::ObjectValueDone, ParseType::ObjectValue, s.nestLevel + 1);
}

void onObjectAfterValue(Frame& s)
{
    if (s.c == ',') {
        s.stream->advance();
        readSkipping(s, Phase::ObjectKey, false);
    } else if (s.c == '}') {
        s.stream->advance();
        startChain(s, s.literal, false);
    } else if (s.c == kEndOfInput) {
        PARSE_ERROR(s, "unexpected end of inputStream");
    } else {
        PARSE_ERROR(s, "unexpected character expecting , or }");
    }
}

void onObjectKey(Frame& s)
{
    if (s.c == '"' || s.c == '\'') {
        s.stream->advance();
        s.quote = s.c;
        s.subSuccess = false;
        s.phase = Phase::ObjectKeyQuoted;
        s.fState = QUOTED;
    } else if (ParserLexer::isNameStart(s.c, NameKind::PropertyName)) {
        readName(s, Phase::ObjectKeyBare, NameKind::PropertyName);
    } else if (s.c == '}') {
        s.stream->advance();
        startChain(s, s.literal, false);
    } else {
        PARSE_ERROR(s, "invalid character while expecting attribute name");
    }
}

// block := "{" statement ( ";" | newline statement )* "}"; also the body of a function or `do`.
void onBlockStatement(Frame& s)
{
    if (s.c == ';') {
        s.stream->advance();
        readSkipping(s, Phase::BlockStatement, false);
    } else if (s.c == '}') {
        s.stream->advance();
        NodePtr result = s.block ? s.block : OMStored::undefinedFactory();
        s.block = nullptr;
        if (s.isBlockBody) {
            s.operands.push_back(result);
            finish(s);
        } else {
            pushOperand(s, result, AfterPush::AfterOperand);
        }
    } else if (s.c == kEndOfInput) {
        PARSE_ERROR(s, "unexpected end of inputStream");
    } else {
        subExpression(s, Phase::BlockStatementDone, ParseType::ListElement, 0);
    }
}

void onBlockStatementDone(Frame& s)
{
    if (!s.subSuccess) {
        PARSE_ERROR(s, "invalid statement in block");
    } else if (s.stream->getPos() == s.subStartPos) {
        PARSE_ERROR(s, "unexpected character");
    } else if (!s.block) {
        s.block = s.sub;
        readSkipping(s, Phase::BlockStatement, false);
    } else {
        registerBinary(s, Phase::BlockJoined, BinOp::SEMICOLON, s.block, s.sub);
    }
}

}  // namespace

void stepLiteral(Frame& s)
{
    switch (s.phase) {
        case Phase::ArrayStart:
            if (s.c == ']') {
                s.stream->advance();
                startChain(s, s.literal, false);
            } else {
                subExpression(s, Phase::ArrayElementDone, ParseType::ArrayElement, s.nestLevel + 1);
            }
            break;
        case Phase::ArrayElementDone:
            if (!s.subSuccess || !s.literal->push(s.sub))
                PARSE_ERROR(s, "parse error in array");
            else
                readSkipping(s, Phase::ArrayAfterElement, false);
            break;
        case Phase::ArrayAfterElement:
            onArrayAfterElement(s);
            break;
        case Phase::ObjectStart:
            onObjectStart(s);
            break;
        case Phase::ObjectFirstDone:
            onSubResult(s, "parse error in object", [&] {
                s.node1 = s.sub;
                readSkipping(s, Phase::ObjectAfterFirst, false);
            });
            break;
        case Phase::ObjectAfterFirst:
            onObjectAfterFirst(s);
            break;
        case Phase::ObjectValueDone:
            onSubResult(s, "parse error in object", [&] {
                s.operand = s.sub;
                s.stored = nullptr;
                s.phase = Phase::ObjectMemberStored;
                s.fState = SET_MEMBER;
            });
            break;
        case Phase::ObjectMemberStored:
            if (!s.stored)
                PARSE_ERROR(s, "parse error in object");
            else
                readSkipping(s, Phase::ObjectAfterValue, false);
            break;
        case Phase::ObjectAfterValue:
            onObjectAfterValue(s);
            break;
        case Phase::ObjectKey:
            onObjectKey(s);
            break;
        case Phase::ObjectKeyQuoted:
            onSubResult(s, "parse error in object", [&] {
                s.name = s.text;
                readSkipping(s, Phase::ObjectColon, false);
            });
            break;
        case Phase::ObjectKeyBare:
            readSkipping(s, Phase::ObjectColon, false);
            break;
        case Phase::ObjectColon:
            expectChar(s, ':', "invalid character in attribute name", [&] {
                subExpression(s, Phase::ObjectValueDone, ParseType::ObjectValue, s.nestLevel + 1);
            });
            break;
        case Phase::BlockStatement:
            onBlockStatement(s);
            break;
        case Phase::BlockStatementDone:
            onBlockStatementDone(s);
            break;
        case Phase::BlockJoined:
            onRegistered(s, "failed to register binary operation", [&] {
                s.block = s.registered;
                readSkipping(s, Phase::BlockStatement, false);
            });
            break;
        default:
            PARSE_ERROR(s, "unexpected state in switch");
            break;
    }
}

}  // namespace Qfn::ParserExpression
