#include "QfnParser/streams/InputStreamConsole.h"

#include "QfnLogger/Check.h"
#include "QfnParser/host/IScriptHost.h"
#include "QfnUtils/Console.h"

namespace Qfn {

namespace {
constexpr int kEndOfTransmission = 4;
}  // namespace

InputStreamConsole::InputStreamConsole()
    : fMode(IScriptHost::get() ? static_cast<int>(IScriptHost::get()->getConsoleEcho()) : 0)
{
}

std::shared_ptr<InputStreamConsole> InputStreamConsole::factory()
{
    std::shared_ptr<InputStreamConsole> retVal;
    try {
        retVal.reset(new InputStreamConsole());
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool InputStreamConsole::setMode(int mode)
{
    bool retVal = false;
    do {
        VERIFY(mode >= 0 && mode <= 3);
        fMode = mode;
        retVal = true;
    } while (false);
    return retVal;
}

int InputStreamConsole::pollKey()
{
    Console::beginRawInput();
    if (!Console::isKeyWaiting()) return kNothingYet;
    return Console::readKey();
}

int InputStreamConsole::getChar()
{
    int retVal = kEndOfInput;
    try {
        do {
            if (fIsAtEOF) break;
            if (IScriptHost::get() && IScriptHost::get()->isTerminating()) {
                fPendingChar = kEndOfInput;
                setEOF();
                break;
            }
            if (fPendingChar == kNothingYet) {
                int key = pollKey();
                if (key == kNothingYet) {
                    retVal = kNothingYet;
                    break;
                }
                // Ctrl-D ends the input, as at a shell.
                if (key < 0 || key == kEndOfTransmission) {
                    fPendingChar = kEndOfInput;
                    setEOF();
                    break;
                }
                fPendingChar = key;
            }
            retVal = fPendingChar;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool InputStreamConsole::advance()
{
    if (fPendingChar >= 0) {
        ++fPos;
        fPendingChar = kNothingYet;
    }
    return true;
}

}  // namespace Qfn
