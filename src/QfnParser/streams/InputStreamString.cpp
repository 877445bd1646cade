#include "QfnParser/streams/InputStreamString.h"

#include "QfnLogger/Check.h"

namespace Qfn {

std::shared_ptr<InputStreamString> InputStreamString::factory(const std::string& text)
{
    std::shared_ptr<InputStreamString> retVal;
    try {
        retVal.reset(new InputStreamString(text));
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

int InputStreamString::getChar()
{
    if (fIsAtEOF) return kEndOfInput;
    uint64_t idx = fPos - fBaseOffset;
    if (idx >= fBuffer.size()) return kEndOfInput;
    return static_cast<unsigned char>(fBuffer[idx]);
}

bool InputStreamString::advance()
{
    if (fPos - fBaseOffset < fBuffer.size()) ++fPos;
    return true;
}

bool InputStreamString::setPos(uint64_t pos)
{
    bool retVal = false;
    try {
        do {
            VERIFY(pos >= fBaseOffset && pos - fBaseOffset <= fBuffer.size());
            fPos = pos;
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool InputStreamString::discardOldBufferData()
{
    bool retVal = false;
    try {
        fBuffer.erase(0, fPos - fBaseOffset);
        fBaseOffset = fPos;
        retVal = true;
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool InputStreamString::feed(const std::string& text)
{
    bool retVal = false;
    try {
        fBuffer += text;
        retVal = true;
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace Qfn
