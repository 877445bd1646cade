#include "QfnParser/streams/OutputStreamStdOut.h"

#include <cstdio>

#include "QfnLogger/Check.h"

namespace Qfn {

std::shared_ptr<OutputStreamStdOut> OutputStreamStdOut::factory()
{
    std::shared_ptr<OutputStreamStdOut> retVal;
    try {
        retVal.reset(new OutputStreamStdOut());
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool OutputStreamStdOut::flush()
{
    return std::fflush(stdout) == 0;
}

bool OutputStreamStdOut::write(const std::string& text)
{
    return text.empty() || std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
}

}  // namespace Qfn
