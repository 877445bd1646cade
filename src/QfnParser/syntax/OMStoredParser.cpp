// The parser's entry points: a whole script, the operand stack's unary operators, and the
// interactive read-eval-print loop. One expression is OMStoredParserExpression.cpp.
#include <cstdio>

#include "QfnLogger/Check.h"
#include "QfnParser/model/OMScope.h"
#include "QfnParser/model/OMStored.h"
#include "QfnParser/streams/IOStreamPrompted.h"
#include "QfnParser/streams/InputStream.h"
#include "QfnParser/streams/InputStreamConsole.h"
#include "QfnParser/syntax/OMStoredParserFrame.h"
#include "QfnParser/syntax/OMStoredParserLexer.h"
#include "QfnParser/tasks/script/ParseAndEvalStreamTask.h"
#include "QfnTask/YieldingFrame.h"
#include "QfnUtils/Utils.h"

namespace Qfn {

namespace {

// What went wrong at pos of a script, on standard error as people read it: "FILE:LINE:COLUMN:
// message", then the line and a caret under the column. FILE is the script's path, <prompt> or <stdin>.
void reportAt(InputStream& stream, uint64_t pos, const std::string& message, const OMScope& scope,
              IOStreamPrompted* prompted)
{
    std::string name = scope.getCurScriptFilePath();
    if (name.empty() || prompted) {
        const bool isConsole =
            prompted && dynamic_cast<InputStreamConsole*>(prompted->getInputStream().get()) != nullptr;
        name = isConsole ? "<prompt>" : "<stdin>";
    }
    InputStream::SourceLine where;
    std::string report;
    if (stream.locate(pos, where)) {
        report = Utils::stringWithFormat("%s:%llu:%llu: %s\n%s\n%s^\n", name.c_str(),
                                         static_cast<unsigned long long>(where.line),
                                         static_cast<unsigned long long>(where.column), message.c_str(),
                                         where.text.c_str(), std::string(where.column - 1, ' ').c_str());
    } else {
        report = name + ": " + message + "\n";
    }
    std::fputs(report.c_str(), stderr);
    std::fflush(stderr);
}

}  // namespace

namespace {

constexpr int kNothingYet = InputStream::kNothingYet;
constexpr int kEndOfInput = InputStream::kEndOfInput;

}  // namespace

// script := ( ";" | expression )*, the expressions joined by ";"
void OMStored::parseExpressionList_yielding(const std::shared_ptr<Task>& task, bool& success,
                                            const std::shared_ptr<InputStream>& stream)
{
    struct LocalVariableState : virtual OMFunctionState {
        std::shared_ptr<InputStream> stream;
        int c = kNothingYet;
        uint64_t startPos = 0;
        std::shared_ptr<OMStored> node;
        bool parsed = false;
        std::shared_ptr<IOMNode> list;
        std::shared_ptr<IOMNode> joined;
    };
    enum : unsigned { SKIP = 1, PARSE, JOIN };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) success = false;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0:
                    s.stream = stream;
                    s.c = ParserLexer::kNoChar;
                    s.fState = kFinished;
                    SANITY_CHECK(s.stream);
                    s.fState = SKIP;
                    break;
                    YIELDING_CALL(SKIP, ParserLexer::skipSpace_yielding(task, s.c, s.stream, false));
                case resumeAfter(SKIP):
                    s.fState = SKIP;
                    if (s.c == kNothingYet) {
                        s.c = ParserLexer::kNoChar;
                        break;
                    }
                    if (s.c == ParserLexer::kNoChar) {
                        LOG_ERROR("parsing failed");
                        s.fState = kFinished;
                        break;
                    }
                    if (s.c == ';') {
                        s.stream->advance();
                        s.c = ParserLexer::kNoChar;
                        break;
                    }
                    if (s.c == kEndOfInput) {
                        success = s.list ? setTo(*s.list, 0) : setUndefined();
                        s.fState = kFinished;
                        break;
                    }
                    s.startPos = s.stream->getPos();
                    s.node = undefinedFactory();
                    s.parsed = false;
                    s.fState = PARSE;
                    break;
                    YIELDING_CALL(PARSE, s.node->parseExpression_yielding(task, s.parsed, s.stream, 0,
                                                                          ParseType::FileTop));
                case resumeAfter(PARSE):
                    // An expression that read nothing cannot progress: the script does not parse.
                    if (!s.parsed || s.stream->getPos() == s.startPos) {
                        LOG_ERROR("parsing failed");
                        s.fState = kFinished;
                        break;
                    }
                    s.c = ParserLexer::kNoChar;
                    if (!s.list) {
                        s.list = s.node;
                        s.fState = SKIP;
                        break;
                    }
                    s.joined = nullptr;
                    s.fState = JOIN;
                    break;
                    YIELDING_CALL(JOIN, registerBinaryOperation_yielding(task, s.joined, BinOp::SEMICOLON,
                                                                         s.list, s.node));
                case resumeAfter(JOIN):
                    s.c = ParserLexer::kNoChar;
                    s.fState = SKIP;
                    if (s.joined) {
                        s.list = s.joined;
                        break;
                    }
                    LOG_ERROR("failed to register binary operation");
                    s.fState = kFinished;
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

// The pending unary operators apply to the operand, the last typed first, then it is pushed.
void OMStored::pushOperandOnStack_yielding(const std::shared_ptr<Task>& task, bool& success,
                                           std::shared_ptr<IOMNode>& operand, std::vector<UnOp>& unaryOps,
                                           std::vector<std::shared_ptr<IOMNode>>& operands)
{
    struct LocalVariableState : virtual OMFunctionState {
        std::shared_ptr<IOMNode> node;
        std::shared_ptr<IOMNode> registered;
        UnOp unOp = UnOp::PLUS;
    };
    enum : unsigned { APPLY = 1, REGISTER };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) success = false;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0:
                    s.node = operand;
                    s.fState = APPLY;
                    if (!s.node) {
                        LOG_CHECK_FAILED("SANITY_CHECK", "operand");
                        s.fState = kFinished;
                    }
                    break;
                case APPLY:
                    if (unaryOps.empty()) {
                        operands.push_back(s.node);
                        success = true;
                        s.fState = kFinished;
                        break;
                    }
                    s.unOp = unaryOps.back();
                    s.registered = nullptr;
                    s.fState = REGISTER;
                    break;
                    YIELDING_CALL(REGISTER,
                                  registerUnaryOperation_yielding(task, s.registered, s.unOp, s.node));
                case resumeAfter(REGISTER):
                    s.fState = APPLY;
                    if (s.registered) {
                        s.node = s.registered;
                        unaryOps.pop_back();
                        break;
                    }
                    LOG_ERROR("failed to register unary operation");
                    s.fState = kFinished;
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

// The interactive loop: one expression at a time, each evaluated as soon as it is complete; a
// prompted stream shows the result. A line that does not parse is dropped.
void OMStored::parseAndEvalStream_yielding(const std::shared_ptr<Task>& task, bool& retVal,
                                           const std::shared_ptr<OMScope>& scope)
{
    struct LocalVariableState : virtual OMFunctionState {
        std::shared_ptr<InputStream> stream;
        std::shared_ptr<IOStreamPrompted> ioStream;
        std::shared_ptr<OMScope> scope;
        int c = kNothingYet;
        uint64_t startPos = 0;
        std::shared_ptr<OMStored> node;
        bool parsed = false;
        std::shared_ptr<IOMNode> result;
        std::string resultText;
        bool written = false;
        Task::Fault fault;
    };
    enum : unsigned { READ = 1, PARSE, EVAL, WRITE, DROP_LINE };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) retVal = false;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0:
                    s.stream = task->getInputStream();
                    s.ioStream = std::dynamic_pointer_cast<IOStreamPrompted>(s.stream);
                    s.scope = scope;
                    task->setCollectsFaults(true);
                    s.fState = READ;
                    if (!s.stream || !s.scope) {
                        LOG_ERROR(s.stream ? QFN_CHECK_TEXT("SANITY_CHECK", "scope")
                                           : QFN_CHECK_TEXT("SANITY_CHECK", "ioStream"));
                        s.fState = kFinished;
                    }
                    break;
                    YIELDING_CALL(READ, ParserLexer::readChar_yielding(task, s.c, s.stream));
                case resumeAfter(READ):
                    s.fState = READ;
                    if (s.c == kNothingYet) break;
                    if (s.c == kEndOfInput || s.c == ParserLexer::kNoChar) {
                        retVal = s.c == kEndOfInput;
                        s.fState = kFinished;
                        break;
                    }
                    if (s.c == ' ' || s.c == '\t' || s.c == '\r' || s.c == '\n' || s.c == ';') {
                        if (s.c == ';') s.node = nullptr;
                        s.stream->advance();
                        break;
                    }
                    task->updateParsingNestLevel(1);
                    s.startPos = s.stream->getPos();
                    ParserExpression::lastParseError() = "syntax error";
                    s.node = undefinedFactory();
                    s.parsed = false;
                    s.fState = PARSE;
                    break;
                    YIELDING_CALL(PARSE, s.node->parseExpression_yielding(task, s.parsed, s.stream, 0,
                                                                          ParseType::FileTop));
                case resumeAfter(PARSE):
                    task->updateParsingNestLevel(-1);
                    if (!s.parsed || s.stream->getPos() == s.startPos) {
                        LOG_ERROR("parsing failed");
                        reportAt(*s.stream, s.stream->getPos(), ParserExpression::lastParseError(), *s.scope,
                                 s.ioStream.get());
                        if (auto* loop = dynamic_cast<ParseAndEvalStreamTask*>(task.get()))
                            loop->noteStatementNotParsed();
                        s.node = nullptr;
                        s.fState = DROP_LINE;
                        break;
                    }
                    s.result = nullptr;
                    task->takeFault(s.fault);
                    s.fState = EVAL;
                    break;
                    YIELDING_CALL(EVAL,
                                  s.node->eval_yielding(task, s.result, s.scope, HandleReturnValue::UNWRAP));
                case resumeAfter(EVAL):
                    s.fState = READ;
                    if (task->takeFault(s.fault)) {
                        const bool isHere = s.fault.sourceId == s.stream->getSourceId();
                        reportAt(*s.stream, isHere ? s.fault.pos : s.startPos, s.fault.message, *s.scope,
                                 s.ioStream.get());
                    }
                    if (!s.ioStream || !s.result) break;
                    s.resultText = s.result->toString() + "\n";
                    s.written = false;
                    s.fState = WRITE;
                    break;
                    YIELDING_CALL(WRITE, s.ioStream->write_yielding(task, s.written, s.resultText));
                case resumeAfter(WRITE):
                    s.fState = READ;
                    break;
                    YIELDING_CALL(DROP_LINE, ParserLexer::readChar_yielding(task, s.c, s.stream));
                case resumeAfter(DROP_LINE):
                    s.fState = DROP_LINE;
                    if (s.c == kNothingYet) break;
                    if (s.c == kEndOfInput || s.c == ParserLexer::kNoChar || s.c == '\r' || s.c == '\n') {
                        s.fState = READ;
                        break;
                    }
                    s.stream->advance();
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

}  // namespace Qfn
