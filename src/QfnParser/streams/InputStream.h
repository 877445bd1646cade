#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "QfnTask/Forward.h"

namespace Qfn {

// Characters one at a time: getChar() looks at the present one (-1 at the end, -2 when nothing is
// there yet), advance() consumes it, setPos() goes back so that the parser can retreat.
class InputStream {
public:
    // Where a position of the stream stands in its text: line and column from 1, and that line.
    struct SourceLine {
        uint64_t line = 0;
        uint64_t column = 0;
        std::string text;
    };
    // The line and column of pos within text (lines end at '\n'); false past the text's end.
    static bool locateIn(const std::string& text, uint64_t pos, SourceLine& where);

    static constexpr int kEndOfInput = -1;
    static constexpr int kNothingYet = -2;

    virtual ~InputStream();
    virtual bool advance() = 0;
    virtual bool atEOF() { return fIsAtEOF; }
    virtual bool discardOldBufferData() { return true; }
    virtual bool flush() = 0;
    virtual int getChar() = 0;
    // The one resumable read: suspends the task while nothing is ready.
    virtual void getChar_yielding(const std::shared_ptr<Task>& task, int& c);
    virtual uint64_t getPos() = 0;
    virtual bool isEOL(int c) { return c == 10 || c == 13; }
    virtual bool setPos(uint64_t pos) = 0;
    virtual bool setEOF();
    // Where pos stands, for a stream that can tell; false for one that cannot (the console).
    virtual bool locate(uint64_t pos, SourceLine& where);
    // Tells streams apart for positions kept in parsed expressions; never 0.
    uint64_t getSourceId() const { return fSourceId; }

protected:
    bool fIsAtEOF = false;

private:
    static uint64_t nextSourceId()
    {
        static uint64_t lastSourceId = 0;
        return ++lastSourceId;
    }
    uint64_t fSourceId = nextSourceId();
};

}  // namespace Qfn
