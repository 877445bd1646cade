#include "QfnUtils/ThreadEnd.h"

#include <sys/syscall.h>
#include <unistd.h>

namespace Qfn {

bool ThreadEnd::isMainThread()
{
    return static_cast<pid_t>(syscall(SYS_gettid)) == getpid();
}

}  // namespace Qfn
