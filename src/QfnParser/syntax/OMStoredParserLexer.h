#pragma once

#include <memory>
#include <string>

#include "QfnParser/Forward.h"
#include "QfnTask/Forward.h"

// The character-level pieces of the script parser: whitespace and comments, quoted strings, names
// and here-documents. Each is a resumable call that reads the parser's stream.
namespace Qfn::ParserLexer {

enum class NameKind {
    Identifier,    // letters, digits, '_' and '$'; no digit first
    PropertyName,  // a bare key of an object literal: letters, digits, '_' and '%'
    HereDocName,   // a letter, then letters and digits
};

// The character of a read whose callee could not even start (nested too deep): the caller fails.
inline constexpr int kNoChar = -3;

bool isNameStart(int c, NameKind kind);
bool isNameChar(int c, NameKind kind);

// stream->getChar_yielding, with c kNoChar until the read has given something.
void readChar_yielding(const std::shared_ptr<Task>& task, int& c, const std::shared_ptr<InputStream>& stream);
// Skips spaces, tabs and comments, and CR and LF unless newlineEnds. c is the first other
// character, not consumed; -1 at the end of input; kNoChar when a read failed.
void skipSpace_yielding(const std::shared_ptr<Task>& task, int& c, const std::shared_ptr<InputStream>& stream,
                        bool newlineEnds);
// After the opening quote: the text up to the closing quote, which is consumed, unescaped.
void readQuoted_yielding(const std::shared_ptr<Task>& task, bool& success, std::string& text,
                         const std::shared_ptr<InputStream>& stream, int quote);
// The name starting at the present character; empty when no name starts there.
void readName_yielding(const std::shared_ptr<Task>& task, std::string& name,
                       const std::shared_ptr<InputStream>& stream, NameKind kind);
// After "<<": the name, the end of its line, then the lines up to the one holding only the name.
void readHereDoc_yielding(const std::shared_ptr<Task>& task, bool& success, std::string& text,
                          const std::shared_ptr<InputStream>& stream);

}  // namespace Qfn::ParserLexer
