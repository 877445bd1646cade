#pragma once

#include "QfnParser/streams/InputStream.h"

namespace Qfn {

// Standard input read with blocking reads: meant for piped input, where waiting is accepted.
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

    int fPendingChar = kNothingYet;
    uint64_t fPos = 0;
};

}  // namespace Qfn
