#include "QfnParser/streams/InputStreamStdIn.h"

#include <cstdio>

#include "QfnLogger/Check.h"

namespace Qfn {

std::shared_ptr<InputStreamStdIn> InputStreamStdIn::factory()
{
    std::shared_ptr<InputStreamStdIn> retVal;
    try {
        retVal.reset(new InputStreamStdIn());
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

int InputStreamStdIn::getChar()
{
    if (fIsAtEOF) return kEndOfInput;
    if (fPendingChar == kNothingYet) {
        int c = std::getchar();
        if (c < 0) {
            fPendingChar = kEndOfInput;
            setEOF();
        } else {
            fPendingChar = c;
        }
    }
    return fPendingChar;
}

bool InputStreamStdIn::advance()
{
    if (fPendingChar >= 0) {
        ++fPos;
        fPendingChar = kNothingYet;
    }
    return true;
}

}  // namespace Qfn
