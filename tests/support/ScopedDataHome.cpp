#include "support/ScopedDataHome.h"

#include <stdlib.h>

#include "QfnUtils/Dirs.h"

namespace QfnTest {

ScopedDataHome::ScopedDataHome()
{
    char pattern[] = "/tmp/qfn-data-XXXXXX";
    if (const char* made = ::mkdtemp(pattern)) fPath = std::string(made) + "/";
    if (const char* saved = ::getenv("XDG_DATA_HOME")) {
        fSaved = saved;
        fWasSet = true;
    }
    ::setenv("XDG_DATA_HOME", fPath.c_str(), 1);
    Qfn::Dirs::resetCachedPaths();
}

ScopedDataHome::~ScopedDataHome()
{
    if (fWasSet) ::setenv("XDG_DATA_HOME", fSaved.c_str(), 1);
    else ::unsetenv("XDG_DATA_HOME");
    Qfn::Dirs::resetCachedPaths();
    if (!fPath.empty()) Qfn::Dirs::rmDir(fPath, Qfn::DirRecurse::RECURSE);
}

}  // namespace QfnTest
