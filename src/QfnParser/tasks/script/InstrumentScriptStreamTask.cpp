#include "QfnParser/tasks/script/InstrumentScriptStreamTask.h"

#include <string_view>
#include <vector>

#include "QfnLogger/Check.h"
#include "QfnParser/model/OMScope.h"
#include "QfnParser/model/OMStored.h"
#include "QfnParser/streams/IOStreamPrompted.h"
#include "QfnParser/streams/InputStream.h"
#include "QfnParser/streams/OutputStream.h"
#include "QfnTask/YieldingFrame.h"
#include "QfnUtils/Utils.h"

namespace Qfn {

namespace {

constexpr int kNothingYet = InputStream::kNothingYet;
constexpr int kEndOfInput = InputStream::kEndOfInput;
constexpr size_t kNoCut = std::string::npos;

enum ScanState : int {
    kCode = 0,
    kAfterSlash = 1,
    kBlockComment = 2,
    kDoubleQuoted = 3,
    kDoubleQuotedEscape = 4,
    kSingleQuoted = 5,
    kSingleQuotedEscape = 6,
    kAfterLineCommentStart = 7,
    kBlockCommentStar = 8,
    kLineComment = 9,
    kDirectiveWord = 10,
    kDirectiveEnded = 11,
};

// What the loop does after the scanner has looked at a character.
enum class ScanStep {
    NextChar,         // read the next character
    Rescan,           // scan the same character again, in the scanner's new state
    RunThenNextChar,  // pass `ready` on, then read the next character
    RunThenRescan,    // pass `ready` on, then scan the same character again
    End,              // the input has ended and everything has been passed on
};

bool isNewline(int c)
{
    return c == '\r' || c == '\n';
}

// A line that ends in an operator goes on, as it does for the parser. "a++" and "a--" are complete,
// and so is a number written "111.".
bool endsInOperator(const std::string& text)
{
    if (text.empty()) return false;
    const char last = text.back();
    const char before = text.size() >= 2 ? text[text.size() - 2] : ' ';
    if (last == '+' || last == '-') return before != last;
    if (last == '.') return before < '0' || before > '9';
    return std::string_view("*/%=<>!&|^~?:,").find(last) != std::string_view::npos;
}

// The character-level half of the instrumentation: the scan table, the bracket levels and the
// places where a statement ends. It reads nothing itself; the loop hands it one character in `c`.
struct StatementScanner {
    ScanState scanState = kCode;
    std::string statement;
    std::string directive;
    int c = kNothingYet;
    bool isYieldOn = true;
    int parensCount = 0;
    std::vector<int> parensCountGlobal;
    int bracketCount = 0;
    int spaceCount = 0;
    int newlineCount = 0;
    // A cut at a newline that waits for the word after it, since "else" continues the statement:
    // the place of that newline in `statement`.
    size_t cutPos = kNoCut;
    // The statement that a Run step passes on.
    std::string ready;

    ScanStep scan(Task& task)
    {
        switch (scanState) {
            case kCode:
                return scanCode(task);
            case kAfterSlash:
                if (c == '/' || c == '*') {
                    scanState = c == '/' ? kAfterLineCommentStart : kBlockComment;
                    return ScanStep::NextChar;
                }
                // No comment: the slash is code, and the character is scanned again after it.
                if (flushBeforeCode('/')) return ScanStep::RunThenRescan;
                statement += '/';
                scanState = kCode;
                return ScanStep::Rescan;
            case kBlockComment:
                if (c == kEndOfInput) return endOfInputInside();
                if (c == '*') scanState = kBlockCommentStar;
                return ScanStep::NextChar;
            case kBlockCommentStar:
                if (c == kEndOfInput) return endOfInputInside();
                if (c == '/') {
                    ++spaceCount;
                    scanState = kCode;
                } else if (c != '*') {
                    scanState = kBlockComment;
                }
                return ScanStep::NextChar;
            case kDoubleQuoted:
            case kSingleQuoted:
                return scanQuoted(scanState == kDoubleQuoted ? '"' : '\'');
            case kDoubleQuotedEscape:
            case kSingleQuotedEscape:
                if (c == kEndOfInput) return endOfInputInside();
                statement += static_cast<char>(c);
                scanState = scanState == kDoubleQuotedEscape ? kDoubleQuoted : kSingleQuoted;
                return ScanStep::NextChar;
            case kAfterLineCommentStart:
                if (c == kEndOfInput) return endOfInputInside();
                if (isNewline(c)) return endLineComment();
                if (c == '@') {
                    directive.clear();
                    scanState = kDirectiveWord;
                } else if (c != ' ' && c != '\t') {
                    scanState = kLineComment;
                }
                return ScanStep::NextChar;
            case kLineComment:
                if (c == kEndOfInput) return endOfInputInside();
                return isNewline(c) ? endLineComment() : ScanStep::NextChar;
            case kDirectiveWord:
                if (c == kEndOfInput || isNewline(c)) {
                    scanState = kDirectiveEnded;
                    return ScanStep::Rescan;
                }
                directive += static_cast<char>(c);
                return ScanStep::NextChar;
            case kDirectiveEnded: {
                const std::string word = Utils::trim(directive);
                if (word == "yieldon") isYieldOn = true;
                if (word == "yieldoff") isYieldOn = false;
                if (c == kEndOfInput) return endOfInputInside();
                return endLineComment();
            }
        }
        return ScanStep::NextChar;
    }

    // A newline is pending that ends a statement, and no word waits to be looked at.
    bool isClosedByNewline() const
    {
        return scanState == kCode && newlineCount > 0 && cutPos == kNoCut && closesAtNewline();
    }

    void takeStatement()
    {
        ready = std::move(statement);
        statement.clear();
        newlineCount = 0;
        spaceCount = 0;
    }

    // Brackets still open at the end of input close with it, so the parsing nest level goes back.
    void closeBrackets(Task& task)
    {
        closeLevels(task, bracketCount);
        parensCountGlobal.clear();
        parensCount = 0;
    }

private:
    bool closesAtNewline() const
    {
        return bracketCount == 0 && !statement.empty() && !endsInOperator(statement);
    }

    ScanStep scanCode(Task& task)
    {
        if (cutPos != kNoCut && !Utils::isScriptIdentifierChar(c)) {
            const bool isElse = statement.compare(cutPos + 1, std::string::npos, "else") == 0;
            const size_t newlinePos = cutPos;
            cutPos = kNoCut;
            if (!isElse) {
                ready = statement.substr(0, newlinePos);
                statement.erase(0, newlinePos + 1);
                return ScanStep::RunThenRescan;
            }
        }
        switch (c) {
            case kEndOfInput:
                if (statement.empty()) return ScanStep::End;
                takeStatement();
                return ScanStep::RunThenRescan;
            case ' ':
            case '\t':
                ++spaceCount;
                return ScanStep::NextChar;
            case '\r':
            case '\n':
                ++newlineCount;
                return ScanStep::NextChar;
            case '/':
                scanState = kAfterSlash;
                return ScanStep::NextChar;
        }
        if (flushBeforeCode(c)) return ScanStep::RunThenRescan;
        statement += static_cast<char>(c);
        switch (c) {
            case '"':
                scanState = kDoubleQuoted;
                break;
            case '\'':
                scanState = kSingleQuoted;
                break;
            case '{':
                ++bracketCount;
                task.updateParsingNestLevel(1);
                parensCountGlobal.push_back(parensCount);
                parensCount = 0;
                break;
            case '}':
                closeBrace(task);
                break;
            case '(':
                ++bracketCount;
                task.updateParsingNestLevel(1);
                ++parensCount;
                break;
            case ')':
                // A ')' that closes nothing counts nothing.
                if (parensCount > 0) {
                    --parensCount;
                    closeLevels(task, 1);
                }
                break;
            case ';':
                if (!isYieldOn || parensCount != 0) break;
                takeStatement();
                return ScanStep::RunThenNextChar;
        }
        return ScanStep::NextChar;
    }

    // Before a code character: pending spaces become one space; pending newlines end the statement
    // or stay as one newline. True when the statement so far is to be passed on first.
    bool flushBeforeCode(int code)
    {
        if (newlineCount > 0) {
            const bool cuts = closesAtNewline();
            newlineCount = 0;
            spaceCount = 0;
            if (cuts && code != 'e') {
                takeStatement();
                return true;
            }
            if (cuts) cutPos = statement.size();
            if (!statement.empty()) statement += '\n';
            return false;
        }
        if (spaceCount > 0 && !statement.empty()) statement += ' ';
        spaceCount = 0;
        return false;
    }

    // Inside a string every character is text. A LF ends the part: the newline written after it
    // stands for this one, and the string goes on in the next part.
    ScanStep scanQuoted(char quote)
    {
        if (c == kEndOfInput) return endOfInputInside();
        if (c == '\n') {
            ready = std::move(statement);
            statement.clear();
            return ScanStep::RunThenNextChar;
        }
        statement += static_cast<char>(c);
        if (c == '\\') scanState = quote == '"' ? kDoubleQuotedEscape : kSingleQuotedEscape;
        if (c == quote) scanState = kCode;
        return ScanStep::NextChar;
    }

    // A line comment counts as one newline.
    ScanStep endLineComment()
    {
        ++newlineCount;
        scanState = kCode;
        return ScanStep::NextChar;
    }

    // The input ended inside a comment or string: what was kept is passed on as it stands.
    ScanStep endOfInputInside()
    {
        scanState = kCode;
        return ScanStep::Rescan;
    }

    void closeBrace(Task& task)
    {
        if (parensCountGlobal.empty()) {
            LOG_ERROR("unbalanced parensCountGlobal");
            closeLevels(task, parensCount);
            parensCount = 0;
            return;
        }
        // Parentheses left open inside the block close with it, so that the counts stay in step.
        closeLevels(task, 1 + parensCount);
        parensCount = parensCountGlobal.back();
        parensCountGlobal.pop_back();
    }

    void closeLevels(Task& task, int count)
    {
        for (; count > 0 && bracketCount > 0; --count) {
            --bracketCount;
            task.updateParsingNestLevel(-1);
        }
    }
};

}  // namespace

InstrumentScriptStreamTask::InstrumentScriptStreamTask(std::shared_ptr<OMStored> wrapped_this,
                                                       std::shared_ptr<OMScope> scope,
                                                       std::string scriptFilePath,
                                                       std::shared_ptr<InputStream> inputStream)
    : Task("InstrumentScriptStreamTask", -2, std::move(inputStream)),
      fWrapped_this(std::move(wrapped_this)),
      fScope(std::move(scope)),
      fScriptFilePath(std::move(scriptFilePath))
{
}

std::shared_ptr<Task> InstrumentScriptStreamTask::factory(const std::shared_ptr<OMStored>& wrapped_this,
                                                          const std::shared_ptr<OMScope>& scope,
                                                          const std::string& scriptFilePath,
                                                          std::shared_ptr<InputStream> inputStream)
{
    std::shared_ptr<Task> retVal;
    try {
        do {
            SANITY_CHECK(wrapped_this);
            std::shared_ptr<Task> task(
                new InstrumentScriptStreamTask(wrapped_this, scope, scriptFilePath, std::move(inputStream)));
            SANITY_CHECK(Task::registerTask(task));
            retVal = task;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

void InstrumentScriptStreamTask::timeslice()
{
    try {
        do {
            std::shared_ptr<Task> task = shared_from_this();
            instrumentScript_yielding(task, fRetValBool);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

void InstrumentScriptStreamTask::instrumentScript_yielding(const std::shared_ptr<Task>& task, bool& retVal)
{
    struct LocalVariableState : virtual OMFunctionState, StatementScanner {
        std::shared_ptr<IOStreamPrompted> ioStream;
        bool isRun = false;
        unsigned afterRun = 0;
    };
    enum : unsigned { START = 0, NEXT_CHAR, READ_CHAR, SCAN, RUN_STATEMENT, END, FAILED };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) retVal = false;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case START: {
                    s.fState = kFinished;
                    std::shared_ptr<IOStreamPrompted> ioStream =
                        std::dynamic_pointer_cast<IOStreamPrompted>(getInputStream());
                    SANITY_CHECK(ioStream);
                    SANITY_CHECK(fScope);
                    s.ioStream = ioStream;
                    s.fState = NEXT_CHAR;
                    break;
                }
                case NEXT_CHAR:
                    // With nothing to read now, a statement that a newline has closed goes at once,
                    // rather than when the next line comes.
                    s.fState = READ_CHAR;
                    if (s.isClosedByNewline() && !isInputPending()) {
                        s.takeStatement();
                        s.afterRun = NEXT_CHAR;
                        s.fState = RUN_STATEMENT;
                    }
                    break;
                    YIELDING_CALL(READ_CHAR, s.ioStream->getChar_yielding(task, s.c));
                case resumeAfter(READ_CHAR):
                    s.fState = SCAN;
                    if (s.c == kNothingYet) {
                        // The stream may still be fed: look again in the next slice.
                        task->forceTimesliceCompleted();
                        s.fState = NEXT_CHAR;
                    } else if (s.c < 0) {
                        s.c = kEndOfInput;
                    } else {
                        s.ioStream->advance();
                    }
                    break;
                case SCAN:
                    switch (s.scan(*task)) {
                        case ScanStep::NextChar:
                            s.fState = NEXT_CHAR;
                            break;
                        case ScanStep::Rescan:
                            break;
                        case ScanStep::RunThenNextChar:
                            s.afterRun = NEXT_CHAR;
                            s.fState = RUN_STATEMENT;
                            break;
                        case ScanStep::RunThenRescan:
                            s.afterRun = SCAN;
                            s.fState = RUN_STATEMENT;
                            break;
                        case ScanStep::End:
                            s.fState = END;
                            break;
                    }
                    break;
                    YIELDING_CALL(RUN_STATEMENT, runStatement_yielding(task, s.isRun, s.ready));
                case resumeAfter(RUN_STATEMENT): {
                    const bool success = s.isRun;
                    s.fState = FAILED;
                    SANITY_CHECK(success);
                    s.fState = s.afterRun;
                    break;
                }
                case END:
                    s.closeBrackets(*task);
                    retVal = true;
                    s.fState = kFinished;
                    break;
                case FAILED:
                    s.closeBrackets(*task);
                    s.fState = kFinished;
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

bool InstrumentScriptStreamTask::isInputPending()
{
    bool retVal = false;
    try {
        do {
            std::shared_ptr<IOStreamPrompted> ioStream =
                std::dynamic_pointer_cast<IOStreamPrompted>(getInputStream());
            SANITY_CHECK(ioStream);
            std::shared_ptr<InputStream> inputStream = ioStream->getInputStream();
            SANITY_CHECK(inputStream);
            // The nested stream first: when it has nothing, the prompted stream answers from its
            // present line alone, and has nothing to echo.
            retVal = inputStream->getChar() >= 0 || ioStream->getChar() >= 0;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

void InstrumentScriptStreamTask::runStatement_yielding(const std::shared_ptr<Task>& task, bool& retVal,
                                                       const std::string& statement)
{
    struct LocalVariableState : virtual OMFunctionState {
        std::shared_ptr<OutputStream> outputStream;
        std::string text;
        bool isWritten = false;
    };
    enum : unsigned { START = 0, WRITE };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) retVal = false;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case START: {
                    s.fState = kFinished;
                    std::shared_ptr<IOStreamPrompted> ioStream =
                        std::dynamic_pointer_cast<IOStreamPrompted>(getInputStream());
                    SANITY_CHECK(ioStream);
                    std::shared_ptr<OutputStream> outputStream = ioStream->getOutputStream();
                    SANITY_CHECK(outputStream);
                    s.outputStream = outputStream;
                    s.text = statement + "\n";
                    s.fState = WRITE;
                    break;
                }
                    YIELDING_CALL(WRITE, s.outputStream->write_yielding(task, s.isWritten, s.text));
                case resumeAfter(WRITE):
                    retVal = s.isWritten;
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
