#pragma once

#include <string>

namespace Qfn {

// The log of scripts' misuses of built-in functions: one line per misuse, appended to a file of
// its own while the script-error log is switched on, and nothing at all while it is off.
class ScriptErrorLog {
public:
    ScriptErrorLog() = delete;

    // An empty path means "ScriptErrors.log" in the log folder.
    static void setFilePath(const std::string& path) { fFilePath = path; }
    static std::string getFilePath();
    static bool report(const std::string& text);

private:
    static std::string fFilePath;
};

}  // namespace Qfn
