#include "QfnUtils/DeepWalk.h"

#include <string>

#include "QfnLogger/Check.h"
#include "QfnUtils/StackRoom.h"

namespace Qfn {

thread_local uint32_t DeepWalk::fDepth = 0;
thread_local bool DeepWalk::fHasGivenUp = false;

DeepWalk::~DeepWalk()
{
    if (--fDepth == 0) fHasGivenUp = false;
}

bool DeepWalk::canGoOn(const char* what)
{
    if (fHasGivenUp) return false;
    if (StackRoom::isLeft()) return true;
    fHasGivenUp = true;
    LOG_ERROR(std::string(what) + ": the value is nested too deep (" + std::to_string(fDepth) + " levels)");
    return false;
}

}  // namespace Qfn
