#pragma once

#include <string>

#include "QfnParser/streams/InputStream.h"

namespace Qfn {

// Text held in memory. feed() appends more; what lies before the position can be dropped.
class InputStreamString : public InputStream {
public:
    static std::shared_ptr<InputStreamString> factory(const std::string& text);

    bool advance() override;
    bool discardOldBufferData() override;
    bool flush() override { return true; }
    int getChar() override;
    uint64_t getPos() override { return fPos; }
    bool locate(uint64_t pos, SourceLine& where) override { return locateIn(fBuffer, pos, where); }
    bool setPos(uint64_t pos) override;
    virtual bool feed(const std::string& text);

protected:
    explicit InputStreamString(const std::string& text) : fBuffer(text) {}

    std::string fBuffer;
    // The stream position of fBuffer[0].
    uint64_t fBaseOffset = 0;
    uint64_t fPos = 0;
};

}  // namespace Qfn
