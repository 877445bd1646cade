#include "QfnUtils/pipes/Pipe.h"

#include <climits>
#include <set>

#include "QfnLogger/Check.h"
#include "QfnUtils/Pipes.h"
#include "QfnUtils/Utils.h"

namespace Qfn {

namespace {

struct ExternalHandles {
    std::set<int> inUse;
    int last = 0;
};

// Kept past the end of static destruction: pipes may still be released then.
ExternalHandles& externalHandles()
{
    static ExternalHandles* handles = new ExternalHandles();
    return *handles;
}

}  // namespace

Pipe::Pipe(const std::string& namedPipePath)
    : fPipeExternalHandle(getNextAvailablePipeExternalHandle()),
      fNamedPipePath(namedPipePath),
      fRawNamedPipePath(Pipes::getRawNamedPipePath(namedPipePath))
{
    if (fPipeExternalHandle != 0) externalHandles().inUse.insert(fPipeExternalHandle);
}

Pipe::~Pipe()
{
    externalHandles().inUse.erase(fPipeExternalHandle);
}

int Pipe::getNextAvailablePipeExternalHandle()
{
    int retVal = 0;
    try {
        do {
            // Counting on rather than taking the lowest free one keeps a stale handle from naming a
            // newer pipe soon after.
            ExternalHandles& handles = externalHandles();
            for (size_t tries = 0; tries <= handles.inUse.size(); ++tries) {
                handles.last = handles.last == INT_MAX ? 1 : handles.last + 1;
                if (!handles.inUse.contains(handles.last)) {
                    retVal = handles.last;
                    break;
                }
            }
            SANITY_CHECK(retVal != 0);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Pipe::openCountIncrement()
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(fOpenCount >= 0);
            if (++fOpenCount > 1) LOG_NOTE("pipe opened more than once");
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Pipe::openCountDecrement()
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(fOpenCount > 0);
            --fOpenCount;
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string Pipe::stateSwitchText(const char* kind, const char* from, const char* to) const
{
    return Utils::stringWithFormat("%s (%d): switching from %s::%s to %s::%s", fNamedPipePath.c_str(),
                                   fPipeExternalHandle, kind, from, kind, to);
}

std::string Pipe::handleStateSwitchText(const Pipe* pipe, const char* kind, int socketHandle,
                                        const char* from, const char* to)
{
    return Utils::stringWithFormat("%s (%d - 0x%.16llX): switch from %s::%s to %s::%s",
                                   pipe ? pipe->fNamedPipePath.c_str() : "",
                                   pipe ? pipe->fPipeExternalHandle : 0,
                                   static_cast<unsigned long long>(socketHandle), kind, from, kind, to);
}

}  // namespace Qfn
