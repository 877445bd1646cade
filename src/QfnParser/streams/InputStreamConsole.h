#pragma once

#include <string>

#include "QfnParser/streams/InputStream.h"

namespace Qfn {

// The keyboard, polled without waiting and read without the terminal's echo. A key read is kept
// until advance(). Modes 1 and 3 ask the prompted stream above it to echo.
class InputStreamConsole : public InputStream {
public:
    static std::shared_ptr<InputStreamConsole> factory();

    bool advance() override;
    bool flush() override { return true; }
    int getChar() override;
    uint64_t getPos() override { return fPos; }
    // The keyboard cannot go back: only the present position is accepted.
    bool setPos(uint64_t pos) override { return pos == fPos; }
    virtual int getMode() const { return fMode; }
    virtual bool setMode(int mode);
    virtual bool isEchoing() const { return fMode == 1 || fMode == 3; }
    // A console that draws the prompt itself takes its text; this one leaves it to the prompted stream.
    virtual bool takePrompt(const std::string&) { return false; }

protected:
    InputStreamConsole();
    // The next key if one is waiting: -2 when none is, -1 when the keyboard is gone.
    virtual int pollKey();

    int fMode = 1;
    int fPendingChar = kNothingYet;
    uint64_t fPos = 0;
};

}  // namespace Qfn
