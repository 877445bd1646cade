#include "QfnParser/streams/OutputStreamStdErr.h"

#include <cstdio>

#include "QfnLogger/Check.h"

namespace Qfn {

std::shared_ptr<OutputStreamStdErr> OutputStreamStdErr::factory()
{
    std::shared_ptr<OutputStreamStdErr> retVal;
    try {
        retVal.reset(new OutputStreamStdErr());
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool OutputStreamStdErr::flush()
{
    return std::fflush(stderr) == 0;
}

bool OutputStreamStdErr::write(const std::string& text)
{
    return text.empty() || std::fwrite(text.data(), 1, text.size(), stderr) == text.size();
}

}  // namespace Qfn
