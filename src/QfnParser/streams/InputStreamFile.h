#pragma once

#include <cstdio>
#include <string>

#include "QfnParser/streams/InputStream.h"

namespace Qfn {

// A stdio file read byte by byte. While buffering is on, what is read is kept so that setPos can
// go back without seeking (which also serves pipes).
class InputStreamFile : public InputStream {
public:
    // With ownsFile the stream closes the file when it goes.
    static std::shared_ptr<InputStreamFile> factory(FILE* file, bool ownsFile = false);
    ~InputStreamFile() override;

    bool advance() override;
    bool discardOldBufferData() override;
    bool flush() override { return true; }
    int getChar() override;
    uint64_t getPos() override { return fPos; }
    // Reads the file from its start up to the end of pos's line, and comes back.
    bool locate(uint64_t pos, SourceLine& where) override;
    bool setPos(uint64_t pos) override;
    // Nests: buffering ends, and the old data goes, when every true has had its false.
    virtual bool setBufferActive(bool active);

private:
    InputStreamFile(FILE* file, bool ownsFile) : fFile(file), fOwnsFile(ownsFile) {}
    bool isInBuffer(uint64_t pos) const
    {
        return pos >= fBufferStartPos && pos - fBufferStartPos < fBuffer.size();
    }

    FILE* fFile = nullptr;
    bool fOwnsFile = false;
    std::string fBuffer;
    uint64_t fBufferStartPos = 0;
    uint64_t fPos = 0;
    int fPendingChar = kNothingYet;
    int fBufferActive = 0;
};

}  // namespace Qfn
