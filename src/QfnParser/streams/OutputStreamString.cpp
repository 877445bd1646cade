#include "QfnParser/streams/OutputStreamString.h"

#include "QfnLogger/Check.h"

namespace Qfn {

std::shared_ptr<OutputStreamString> OutputStreamString::factory()
{
    std::shared_ptr<OutputStreamString> retVal;
    try {
        retVal.reset(new OutputStreamString());
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string OutputStreamString::getAndClearBuffer()
{
    std::string retVal;
    try {
        retVal.swap(fBuffer);
        fBaseOffset += retVal.size();
        fPos = fBaseOffset;
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace Qfn
