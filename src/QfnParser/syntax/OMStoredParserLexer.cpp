// The character-level half of the parser: literal characters and keywords, whitespace and
// comments, quoted strings, names and here-documents.
#include "QfnParser/syntax/OMStoredParserLexer.h"

#include "QfnLogger/Check.h"
#include "QfnParser/model/OMStored.h"
#include "QfnParser/streams/InputStream.h"
#include "QfnTask/YieldingFrame.h"
#include "QfnUtils/Utils.h"

namespace Qfn {

using ParserLexer::kNoChar;
using ParserLexer::readChar_yielding;

namespace {

constexpr int kNothingYet = InputStream::kNothingYet;
constexpr int kEndOfInput = InputStream::kEndOfInput;

bool isLetter(int c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
bool isDigit(int c)
{
    return c >= '0' && c <= '9';
}
bool isNewline(int c)
{
    return c == '\r' || c == '\n';
}

}  // namespace

// chars := the given characters, exactly; on a mismatch the stream is back where it was.
void OMStored::parseChars_yielding(const std::shared_ptr<Task>& task, bool& retVal,
                                   const std::shared_ptr<InputStream>& stream, const std::string& chars)
{
    struct LocalVariableState : virtual OMFunctionState {
        std::shared_ptr<InputStream> stream;
        std::string chars;
        size_t idx = 0;
        uint64_t startPos = 0;
        int c = kNothingYet;
    };
    enum : unsigned { READ = 1 };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) retVal = false;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0:
                    s.stream = stream;
                    s.chars = chars;
                    s.fState = kFinished;
                    SANITY_CHECK(s.stream);
                    s.startPos = s.stream->getPos();
                    s.fState = READ;
                    break;
                    YIELDING_CALL(READ, readChar_yielding(task, s.c, s.stream));
                case resumeAfter(READ):
                    if (s.c == kNothingYet) {
                        s.fState = READ;
                        break;
                    }
                    s.fState = kFinished;
                    if (s.c == kNoChar) break;
                    if (s.idx < s.chars.size() && s.c == static_cast<unsigned char>(s.chars[s.idx])) {
                        s.stream->advance();
                        ++s.idx;
                        s.fState = READ;
                    }
                    if (s.idx == s.chars.size()) {
                        retVal = true;
                        s.fState = kFinished;
                    } else if (s.fState == kFinished) {
                        s.stream->setPos(s.startPos);
                    }
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

// keyword := chars not followed by an identifier character, so that "iffy" is no "if".
void OMStored::parseKeyword_yielding(const std::shared_ptr<Task>& task, bool& retVal,
                                     const std::shared_ptr<InputStream>& stream, const std::string& keyword)
{
    struct LocalVariableState : virtual OMFunctionState {
        std::shared_ptr<InputStream> stream;
        std::string keyword;
        int c = kEndOfInput;
        uint64_t startPos = 0;
        bool matched = false;
    };
    enum : unsigned { MATCH_CHARS = 1, PEEK_NEXT };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) retVal = false;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0:
                    s.stream = stream;
                    s.keyword = keyword;
                    s.fState = kFinished;
                    SANITY_CHECK(s.stream);
                    s.startPos = s.stream->getPos();
                    s.fState = MATCH_CHARS;
                    break;
                    YIELDING_CALL(MATCH_CHARS, parseChars_yielding(task, s.matched, s.stream, s.keyword));
                case resumeAfter(MATCH_CHARS):
                    s.fState = kFinished;
                    if (!s.matched) break;
                    if (s.stream->atEOF()) {
                        retVal = true;
                        break;
                    }
                    s.fState = PEEK_NEXT;
                    break;
                    YIELDING_CALL(PEEK_NEXT, readChar_yielding(task, s.c, s.stream));
                case resumeAfter(PEEK_NEXT):
                    if (s.c == kNothingYet) {
                        s.fState = PEEK_NEXT;
                        break;
                    }
                    if (s.c == kNoChar) {
                        s.fState = kFinished;
                        break;
                    }
                    if (Utils::isScriptIdentifierChar(s.c))
                        s.stream->setPos(s.startPos);
                    else
                        retVal = true;
                    s.fState = kFinished;
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

namespace ParserLexer {

void readChar_yielding(const std::shared_ptr<Task>& task, int& c, const std::shared_ptr<InputStream>& stream)
{
    c = kNoChar;
    stream->getChar_yielding(task, c);
}

bool isNameStart(int c, NameKind kind)
{
    switch (kind) {
        case NameKind::Identifier:
            return isLetter(c) || c == '_' || c == '$';
        case NameKind::PropertyName:
            return isNameChar(c, kind);
        case NameKind::HereDocName:
            return isLetter(c);
    }
    return false;
}

bool isNameChar(int c, NameKind kind)
{
    switch (kind) {
        case NameKind::Identifier:
            return Utils::isScriptIdentifierChar(c);
        case NameKind::PropertyName:
            return isLetter(c) || isDigit(c) || c == '_' || c == '%';
        case NameKind::HereDocName:
            return isLetter(c) || isDigit(c);
    }
    return false;
}

// space := ( " " | TAB | CR | LF | "//" ... end of line | "/*" ... "*/" )*
void skipSpace_yielding(const std::shared_ptr<Task>& task, int& c, const std::shared_ptr<InputStream>& stream,
                        bool newlineEnds)
{
    struct LocalVariableState : virtual OMFunctionState {
        std::shared_ptr<InputStream> stream;
        bool newlineEnds = false;
        int c = kNothingYet;
        uint64_t slashPos = 0;
        bool isStarSeen = false;
    };
    enum : unsigned { READ = 1, AFTER_SLASH, LINE_COMMENT, BLOCK_COMMENT };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) c = kNothingYet;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0:
                    s.stream = stream;
                    s.newlineEnds = newlineEnds;
                    s.fState = READ;
                    if (!s.stream) {
                        LOG_CHECK_FAILED("SANITY_CHECK", "stream");
                        c = kEndOfInput;
                        s.fState = kFinished;
                    }
                    break;
                    YIELDING_CALL(READ, readChar_yielding(task, s.c, s.stream));
                case resumeAfter(READ):
                    s.fState = READ;
                    if (s.c == kNothingYet) break;
                    if (s.c == kNoChar) {
                        c = kNoChar;
                        s.fState = kFinished;
                        break;
                    }
                    if (s.c == ' ' || s.c == '\t' || (isNewline(s.c) && !s.newlineEnds)) {
                        s.stream->advance();
                        break;
                    }
                    if (s.c == '/') {
                        s.slashPos = s.stream->getPos();
                        s.stream->advance();
                        s.fState = AFTER_SLASH;
                        break;
                    }
                    c = s.c;
                    s.fState = kFinished;
                    break;
                    YIELDING_CALL(AFTER_SLASH, readChar_yielding(task, s.c, s.stream));
                case resumeAfter(AFTER_SLASH):
                    s.fState = AFTER_SLASH;
                    if (s.c == kNothingYet) break;
                    if (s.c == kNoChar) {
                        c = kNoChar;
                        s.fState = kFinished;
                        break;
                    }
                    if (s.c == '/' || s.c == '*') {
                        s.stream->advance();
                        s.isStarSeen = false;
                        s.fState = s.c == '/' ? LINE_COMMENT : BLOCK_COMMENT;
                        break;
                    }
                    // No comment: the slash is the caller's, a division most likely.
                    if (!s.stream->setPos(s.slashPos)) LOG_ERROR("cannot go back to '/'");
                    c = '/';
                    s.fState = kFinished;
                    break;
                    YIELDING_CALL(LINE_COMMENT, readChar_yielding(task, s.c, s.stream));
                case resumeAfter(LINE_COMMENT):
                    s.fState = LINE_COMMENT;
                    if (s.c == kNothingYet) break;
                    if (s.c == kNoChar) {
                        c = kNoChar;
                        s.fState = kFinished;
                        break;
                    }
                    if (s.c == kEndOfInput || isNewline(s.c) || s.c == 0) {
                        s.fState = READ;
                        break;
                    }
                    s.stream->advance();
                    break;
                    YIELDING_CALL(BLOCK_COMMENT, readChar_yielding(task, s.c, s.stream));
                case resumeAfter(BLOCK_COMMENT):
                    s.fState = BLOCK_COMMENT;
                    if (s.c == kNothingYet) break;
                    if (s.c == kNoChar) {
                        c = kNoChar;
                        s.fState = kFinished;
                        break;
                    }
                    if (s.c == kEndOfInput) {
                        LOG_ERROR("unexpected end of inputStream");
                        c = kEndOfInput;
                        s.fState = kFinished;
                        break;
                    }
                    s.stream->advance();
                    if (s.isStarSeen && s.c == '/') s.fState = READ;
                    s.isStarSeen = s.c == '*';
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

// quoted := ( "\" any | any but the quote )* quote; NUL ends nothing but the parse.
void readQuoted_yielding(const std::shared_ptr<Task>& task, bool& success, std::string& text,
                         const std::shared_ptr<InputStream>& stream, int quote)
{
    struct LocalVariableState : virtual OMFunctionState {
        std::shared_ptr<InputStream> stream;
        int quote = '"';
        std::string raw;
        bool isEscaped = false;
        int c = kNothingYet;
    };
    enum : unsigned { READ = 1 };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) success = false;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0:
                    s.stream = stream;
                    s.quote = quote;
                    s.fState = kFinished;
                    SANITY_CHECK(s.stream);
                    s.fState = READ;
                    break;
                    YIELDING_CALL(READ, readChar_yielding(task, s.c, s.stream));
                case resumeAfter(READ):
                    s.fState = READ;
                    if (s.c == kNothingYet) break;
                    s.fState = kFinished;
                    if (s.c == kNoChar) break;
                    if (s.c == kEndOfInput) {
                        LOG_ERROR("unexpected end of inputStream");
                        break;
                    }
                    if (s.c == 0) {
                        LOG_ERROR("unexpected end of string in quoted string");
                        break;
                    }
                    s.stream->advance();
                    if (s.c == s.quote && !s.isEscaped) {
                        text = Utils::decodeString(s.raw);
                        success = true;
                        break;
                    }
                    s.isEscaped = !s.isEscaped && s.c == '\\';
                    s.raw += static_cast<char>(s.c);
                    s.fState = READ;
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

void readName_yielding(const std::shared_ptr<Task>& task, std::string& name,
                       const std::shared_ptr<InputStream>& stream, NameKind kind)
{
    struct LocalVariableState : virtual OMFunctionState {
        std::shared_ptr<InputStream> stream;
        NameKind kind = NameKind::Identifier;
        std::string name;
        int c = kNothingYet;
    };
    enum : unsigned { READ = 1 };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) name.clear();
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0:
                    s.stream = stream;
                    s.kind = kind;
                    s.fState = kFinished;
                    SANITY_CHECK(s.stream);
                    s.fState = READ;
                    break;
                    YIELDING_CALL(READ, readChar_yielding(task, s.c, s.stream));
                case resumeAfter(READ):
                    s.fState = READ;
                    if (s.c == kNothingYet) break;
                    if (s.c == kNoChar) {
                        s.name.clear();
                        s.fState = kFinished;
                        break;
                    }
                    if (s.name.empty() ? isNameStart(s.c, s.kind) : isNameChar(s.c, s.kind)) {
                        s.name += static_cast<char>(s.c);
                        s.stream->advance();
                        break;
                    }
                    name = s.name;
                    s.fState = kFinished;
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

namespace {

// The here-document's text: the body before the newline that precedes the closing line.
bool hereDocText(const std::string& hereDocName, const std::string& body, size_t lineStart,
                 size_t newlineLength, std::string& text)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(!hereDocName.empty());
            SANITY_CHECK(lineStart == 0 || lineStart >= newlineLength);
            text = lineStart == 0 ? std::string() : body.substr(0, lineStart - newlineLength);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace

// heredoc := "<<" space* name newline ( line newline )* name
void readHereDoc_yielding(const std::shared_ptr<Task>& task, bool& success, std::string& text,
                          const std::shared_ptr<InputStream>& stream)
{
    struct LocalVariableState : virtual OMFunctionState {
        std::shared_ptr<InputStream> stream;
        std::string hereDocName;
        std::string body;
        size_t lineStart = 0;
        size_t newlineLength = 0;
        bool isAfterCR = false;
        int c = kNothingYet;
    };
    enum : unsigned { SKIP_SPACES = 1, NAME, AFTER_NAME_CR, BODY };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) success = false;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0:
                    s.stream = stream;
                    s.fState = kFinished;
                    SANITY_CHECK(s.stream);
                    s.fState = SKIP_SPACES;
                    break;
                    YIELDING_CALL(SKIP_SPACES, readChar_yielding(task, s.c, s.stream));
                case resumeAfter(SKIP_SPACES):
                    s.fState = SKIP_SPACES;
                    if (s.c == kNothingYet) break;
                    if (s.c == kNoChar) {
                        s.fState = kFinished;
                        break;
                    }
                    if (s.c == ' ' || s.c == '\t') {
                        s.stream->advance();
                        break;
                    }
                    s.fState = NAME;
                    if (isNameStart(s.c, NameKind::HereDocName)) break;
                    LOG_ERROR(s.c == kEndOfInput ? "unexpected end of inputStream" : "unexpected character");
                    s.fState = kFinished;
                    break;
                    YIELDING_CALL(NAME, readChar_yielding(task, s.c, s.stream));
                case resumeAfter(NAME):
                    s.fState = NAME;
                    if (s.c == kNothingYet) break;
                    if (s.c == kNoChar) {
                        s.fState = kFinished;
                        break;
                    }
                    if (isNameChar(s.c, NameKind::HereDocName)) {
                        s.hereDocName += static_cast<char>(s.c);
                        s.stream->advance();
                        break;
                    }
                    s.fState = kFinished;
                    if (!isNewline(s.c)) {
                        LOG_ERROR(s.c == kEndOfInput ? "unexpected end of inputStream"
                                                     : "unexpected character");
                        break;
                    }
                    s.stream->advance();
                    s.fState = s.c == '\r' ? AFTER_NAME_CR : BODY;
                    break;
                    YIELDING_CALL(AFTER_NAME_CR, readChar_yielding(task, s.c, s.stream));
                case resumeAfter(AFTER_NAME_CR):
                    s.fState = AFTER_NAME_CR;
                    if (s.c == kNothingYet) break;
                    if (s.c == kNoChar) {
                        s.fState = kFinished;
                        break;
                    }
                    if (s.c == '\n') s.stream->advance();
                    s.fState = BODY;
                    break;
                    YIELDING_CALL(BODY, readChar_yielding(task, s.c, s.stream));
                case resumeAfter(BODY):
                    s.fState = BODY;
                    if (s.c == kNothingYet) break;
                    if (s.c == kNoChar) {
                        s.fState = kFinished;
                        break;
                    }
                    if (s.c == '\n' && s.isAfterCR) {  // the LF of a CR LF
                        s.stream->advance();
                        s.body += '\n';
                        s.newlineLength = 2;
                        s.lineStart = s.body.size();
                        s.isAfterCR = false;
                        break;
                    }
                    s.isAfterCR = false;
                    if (s.c == kEndOfInput || isNewline(s.c)) {
                        if (s.body.compare(s.lineStart, std::string::npos, s.hereDocName) == 0) {
                            success = hereDocText(s.hereDocName, s.body, s.lineStart, s.newlineLength, text);
                            s.fState = kFinished;
                            break;
                        }
                        if (s.c == kEndOfInput) {
                            LOG_ERROR("unexpected end of inputStream");
                            s.fState = kFinished;
                            break;
                        }
                        s.stream->advance();
                        s.body += static_cast<char>(s.c);
                        s.newlineLength = 1;
                        s.lineStart = s.body.size();
                        s.isAfterCR = s.c == '\r';
                        break;
                    }
                    s.stream->advance();
                    s.body += static_cast<char>(s.c);
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

}  // namespace ParserLexer

}  // namespace Qfn
