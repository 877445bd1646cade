#pragma once

#include <string>

#include "QfnParser/streams/InputStream.h"

namespace Qfn {

// Standard input, read as it comes and never waited for: with nothing there yet a read answers
// "nothing yet", so that the coordinator's thread goes on serving.
class InputStreamStdIn : public InputStream {
public:
    static std::shared_ptr<InputStreamStdIn> factory();

    bool advance() override;
    bool flush() override { return true; }
    int getChar() override;
    uint64_t getPos() override { return fPos; }
    // Standard input cannot go back: only the present position is accepted.
    bool setPos(uint64_t pos) override { return pos == fPos; }

private:
    InputStreamStdIn() = default;

    // What the last read brought and how far it has been taken.
    std::string fBuffer;
    size_t fNext = 0;
    uint64_t fPos = 0;
};

}  // namespace Qfn
