#pragma once

// The record and the helpers shared by the parts of the expression parser: operands and
// operators (OMStoredParserExpression.cpp), literals and blocks (OMStoredParserLiterals.cpp),
// statements and functions (OMStoredParserStatements.cpp).
#include <deque>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "QfnLogger/Check.h"
#include "QfnParser/model/FunctionSignature.h"
#include "QfnParser/model/OMStored.h"
#include "QfnParser/model/Operators.h"
#include "QfnParser/model/ScriptFault.h"
#include "QfnParser/streams/InputStream.h"
#include "QfnParser/syntax/OMStoredParserLexer.h"
#include "QfnTask/YieldingFrame.h"

namespace Qfn::ParserExpression {

using ParserLexer::NameKind;
using NodePtr = std::shared_ptr<IOMNode>;

constexpr int kNothingYet = InputStream::kNothingYet;
constexpr int kEndOfInput = InputStream::kEndOfInput;
constexpr int kFloatForms = -3;

// The frame's states: each makes one nested call, always the same one with arguments kept in the
// record; the continuation of every call hands over to the parse phase.
enum FrameState : unsigned {
    SKIP = 1,           // the next significant character
    PEEK,               // the next character as it is
    SUB_EXPRESSION,     // a nested expression into sub
    NUMBER,             // a number into sub
    QUOTED,             // a quoted string into text
    NAME,               // a name into name
    HEREDOC,            // a here-document into text
    KEYWORD,            // the keyword in keyword
    CHARS,              // the characters in keyword
    PUSH,               // operand onto operands, through the pending unary operators
    REGISTER_BINARY,    // binOp over node1 and node2 into registered
    REGISTER_UNARY,     // unOp over node1 into registered
    REGISTER_TERNARY,   // ternOp over node1, node2, node3 into registered
    REGISTER_KEYWORD,   // the keyword operation of token into registered
    REGISTER_VAR,       // `var name` into registered
    SET_MEMBER,         // name = operand in the map literal
    FINISH_EXPRESSION,  // the expression has ended: check the stacks
    REDUCE,             // fold the next operator
};

// What the parser is reading: the meaning of the character in hand or of a nested call's result.
// The parser's states, in groups that the steppers tell apart by range: operands, literals
// (ArrayStart to BlockJoined), l-value chains, operators (AfterOperand to TernarySecondDone),
// statements (KeywordRegistered to VarRegistered), and what follows a push or a reduction.
enum class Phase {
    Operand,
    OperandPlus,
    OperandMinus,
    OperandLess,
    StringRead,
    NumberRead,
    NameRead,
    HereDocRead,
    ParenDone,
    ParenClose,
    ArrayStart,
    ArrayElementDone,
    ArrayAfterElement,
    ObjectStart,
    ObjectFirstDone,
    ObjectAfterFirst,
    ObjectValueDone,
    ObjectMemberStored,
    ObjectAfterValue,
    ObjectKey,
    ObjectKeyQuoted,
    ObjectKeyBare,
    ObjectColon,
    BlockStatement,
    BlockStatementDone,
    BlockJoined,
    LValue,
    MemberNameRead,
    ArgStart,
    ArgDone,
    ArgAfter,
    IndexDone,
    IndexClose,
    AfterOperand,
    CompoundTest,
    AfterPlus,
    AfterMinus,
    PostfixDone,
    AfterLess,
    AfterGreater,
    AfterEq,
    AfterEqEq,
    AfterBang,
    AfterBangEq,
    AfterAmp,
    AfterBar,
    CompoundRestDone,
    CompoundRegistered,
    TernaryFirstDone,
    TernarySkipped,
    TernaryColon,
    TernarySecondDone,
    KeywordRegistered,
    DoBrace,
    DoBodyDone,
    DoWhile,
    DoWhileMatched,
    DoOpen,
    DoConditionDone,
    DoClose,
    DoRegistered,
    ForOpen,
    ForInitDone,
    ForInitEnd,
    ForConditionStart,
    ForConditionDone,
    ForConditionEnd,
    ForIterationDone,
    ForIterationEnd,
    ForBodyDone,
    ForBodyJoined,
    ForLoopRegistered,
    ForInitJoined,
    FunctionStart,
    FunctionNameRead,
    FunctionOpen,
    ParamStart,
    ParamDone,
    ParamAfter,
    FunctionBrace,
    FunctionBodyDone,
    FunctionAssigned,
    CondOpen,
    CondDone,
    CondClose,
    BodyDone,
    WhileRegistered,
    IfElseCheck,
    IfElseKeyword,
    ElseMatched,
    ElseDone,
    IfRegistered,
    ReturnDone,
    VarStart,
    VarNameRead,
    VarRegistered,
    Pushed,
    Reduced,
};

// Where a pushed operand leaves the parser.
enum class AfterPush { AfterOperand, StatementEnd };

struct ExpressionFrame : virtual OMFunctionState {
    std::shared_ptr<InputStream> stream;
    uint64_t nestLevel = 0;
    ParseType parseType = ParseType::Statement;
    int c = kNothingYet;
    Phase phase = Phase::Operand;
    bool newlineEnds = false;

    std::vector<NodePtr> operands;
    std::vector<BinOp> operators;
    std::set<BinOp> operatorsSeen;
    std::vector<UnOp> unaryOps;
    // The (first, second) values of each `?:`, in the order of their operators.
    std::deque<std::pair<NodePtr, NodePtr>> ternaries;

    Token token = Token::_none;
    std::string name;
    std::string text;
    int quote = '"';
    NameKind nameKind = NameKind::Identifier;
    // The l-value chain so far, or the literal that heads one; a call needs a named link.
    NodePtr chain;
    bool isChainCallable = false;
    NodeList arguments;
    std::shared_ptr<OMStored> literal;
    NodePtr block;
    bool isBlockBody = false;
    std::shared_ptr<FunctionSignature> functionSignature;
    std::string functionName;
    Token statement = Token::_none;
    NodePtr init;
    NodePtr condition;
    NodePtr iteration;
    NodePtr body;
    BinOp compoundOp = BinOp::ADD;
    NodePtr compoundLeft;
    size_t reduceIdx = 0;
    int reduceLevel = static_cast<int>(BinOp::INDEX);

    // Arguments and results of the nested calls.
    std::shared_ptr<OMStored> sub;
    bool subSuccess = false;
    ParseType subParseType = ParseType::Statement;
    uint64_t subLevel = 0;
    uint64_t subStartPos = 0;
    std::string keyword;
    bool matched = false;
    NodePtr operand;
    AfterPush afterPush = AfterPush::AfterOperand;
    bool pushSuccess = false;
    BinOp binOp = BinOp::ADD;
    UnOp unOp = UnOp::PLUS;
    TernOp ternOp = TernOp::CONDITIONAL;
    NodePtr node1;
    NodePtr node2;
    NodePtr node3;
    NodePtr registered;
    NodePtr stored;
};

using Frame = ExpressionFrame;

// The message of the last parse error of this thread, for the report of the statement.
std::string& lastParseError();

// Logs the message, keeps it for the report, and ends the frame unsuccessful.
#define PARSE_ERROR(S, MSG)       \
    do {                          \
        LOG_ERROR(MSG);           \
        lastParseError() = (MSG); \
        (S).fState = kFinished;   \
    } while (false)

inline bool isDigit(int c)
{
    return c >= '0' && c <= '9';
}

inline void readSkipping(Frame& s, Phase next, bool newlineEnds)
{
    s.c = ParserLexer::kNoChar;
    s.phase = next;
    s.newlineEnds = newlineEnds;
    s.fState = SKIP;
}

inline void peek(Frame& s, Phase next)
{
    s.phase = next;
    s.fState = PEEK;
}

inline void subExpression(Frame& s, Phase next, ParseType parseType, uint64_t level)
{
    s.sub = OMStored::undefinedFactory();
    s.subSuccess = false;
    s.subParseType = parseType;
    s.subLevel = level;
    s.subStartPos = s.stream->getPos();
    s.phase = next;
    s.fState = SUB_EXPRESSION;
}

inline void readName(Frame& s, Phase next, NameKind kind)
{
    s.name.clear();
    s.nameKind = kind;
    s.phase = next;
    s.fState = NAME;
}

inline void matchKeyword(Frame& s, Phase next, FrameState call, const char* keyword)
{
    s.keyword = keyword;
    s.matched = false;
    s.phase = next;
    s.fState = call;
}

inline void registerBinary(Frame& s, Phase next, BinOp binOp, const NodePtr& left, const NodePtr& right)
{
    s.binOp = binOp;
    s.node1 = left;
    s.node2 = right;
    s.registered = nullptr;
    s.phase = next;
    s.fState = REGISTER_BINARY;
}

inline void registerTernary(Frame& s, Phase next, TernOp ternOp, const NodePtr& node1, const NodePtr& node2,
                            const NodePtr& node3)
{
    s.ternOp = ternOp;
    s.node1 = node1;
    s.node2 = node2;
    s.node3 = node3;
    s.registered = nullptr;
    s.phase = next;
    s.fState = REGISTER_TERNARY;
}

inline void pushOperand(Frame& s, const NodePtr& node, AfterPush afterPush)
{
    s.operand = node;
    s.pushSuccess = false;
    s.afterPush = afterPush;
    s.phase = Phase::Pushed;
    s.fState = PUSH;
}

inline void expectOperand(Frame& s)
{
    readSkipping(s, Phase::Operand, false);
}
// The newline rule: outside brackets a line break after a complete operand ends the expression.
inline void afterOperand(Frame& s)
{
    readSkipping(s, Phase::AfterOperand, s.nestLevel == 0);
}
inline void continueChain(Frame& s)
{
    readSkipping(s, Phase::LValue, s.nestLevel == 0);
}
inline void finish(Frame& s)
{
    s.fState = FINISH_EXPRESSION;
}

inline void startChain(Frame& s, const NodePtr& head, bool isCallable)
{
    s.chain = head;
    s.isChainCallable = isCallable;
    continueChain(s);
}

inline void pushOperator(Frame& s, BinOp binOp)
{
    s.operators.push_back(binOp);
    s.operatorsSeen.insert(binOp);
    expectOperand(s);
}

// The link a name starts: built-ins by token, everything else by name.
NodePtr nameLink(const NodePtr& parent, const std::string& name, const SourcePlace& place);
// The name a node stands for when it is a bare name (`x` as a parameter or a property); else empty.
std::string bareName(const NodePtr& node);
bool isUndefined(const NodePtr& node);
// Whether a ';' after an operand is consumed with the expression it ends.
bool consumesSemicolon(ParseType parseType);

// Carries on after a nested call that gives a node: failure logs `message`, else `next` runs.
template <class Next>
void onSubResult(Frame& s, const char* message, Next next)
{
    if (!s.subSuccess)
        PARSE_ERROR(s, message);
    else
        next();
}

template <class Next>
void onRegistered(Frame& s, const char* message, Next next)
{
    if (!s.registered)
        PARSE_ERROR(s, message);
    else
        next();
}

// Expects the character; anything else is the error.
template <class Next>
void expectChar(Frame& s, int expected, const char* message, Next next)
{
    if (s.c != expected) {
        PARSE_ERROR(s, message);
        return;
    }
    s.stream->advance();
    next();
}

// The phases of each part; step() hands them over.
void stepLiteral(Frame& s);
void stepStatement(Frame& s);
// A reserved word in operand position.
void onKeyword(Frame& s);

}  // namespace Qfn::ParserExpression
