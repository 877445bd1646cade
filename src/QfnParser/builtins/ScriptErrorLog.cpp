#include "QfnParser/builtins/ScriptErrorLog.h"

#include <cstdio>

#include "QfnLogger/Check.h"
#include "QfnLogger/Log.h"
#include "QfnUtils/Dirs.h"

namespace Qfn {

std::string ScriptErrorLog::fFilePath;

std::string ScriptErrorLog::getFilePath()
{
    return fFilePath.empty() ? Dirs::getLogDirPath() + "ScriptErrors.log" : fFilePath;
}

// The file is opened for each line, like the main log, so that every line is on disk at once.
bool ScriptErrorLog::report(const std::string& text)
{
    bool retVal = false;
    try {
        do {
            if (!Log::getIsLogScriptError()) {
                retVal = true;
                break;
            }
            std::string path = getFilePath();
            FILE* file = std::fopen(path.c_str(), "a");
            SANITY_CHECK(file);
            std::string line = text + "\n";
            bool written = std::fwrite(line.data(), 1, line.size(), file) == line.size();
            bool closed = std::fclose(file) == 0;
            retVal = written && closed;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace Qfn
