#include "support/ScopedPipeFolder.h"

#include <stdlib.h>

#include "QfnUtils/Dirs.h"
#include "QfnUtils/Pipes.h"

namespace QfnTest {

ScopedPipeFolder::ScopedPipeFolder()
{
    char pattern[] = "/tmp/qfn-pipes-XXXXXX";
    if (const char* made = ::mkdtemp(pattern)) fRoot = std::string(made) + "/";
    fPipeFolder = fRoot + "NamedPipes/";
    Qfn::Dirs::mkDir(fPipeFolder);
    Qfn::Dirs::mkDir(fRoot + "run");
    if (const char* saved = ::getenv("XDG_RUNTIME_DIR")) {
        fSaved = saved;
        fWasSet = true;
    }
    ::setenv("XDG_RUNTIME_DIR", (fRoot + "run").c_str(), 1);
}

ScopedPipeFolder::~ScopedPipeFolder()
{
    Qfn::Pipes::closeAll();
    if (fWasSet)
        ::setenv("XDG_RUNTIME_DIR", fSaved.c_str(), 1);
    else
        ::unsetenv("XDG_RUNTIME_DIR");
    if (!fRoot.empty()) Qfn::Dirs::rmDir(fRoot, Qfn::DirRecurse::RECURSE);
}

}  // namespace QfnTest
