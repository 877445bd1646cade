// Arbitrary bytes as a script: parsing and a short evaluation must neither crash nor leak, and
// whatever parses must print as text that parses again to an equal tree.
#include <cstdint>
#include <cstdio>
#include <string>

#include "QfnParser/expressions/OMExpression.h"
#include "QfnParser/model/OMStored.h"
#include "QfnParser/tasks/script/ParseTask.h"
#include "QfnTask/Task.h"
#include "support/ScriptRunner.h"

namespace {

// Built-ins that reach outside the process (files, folders, the console, the coordinator's life)
// are not for random scripts: an input that names one is skipped.
bool reachesOutside(const std::string& text)
{
    static const char* const kWords[] = {"writeFile", "fileOpen", "readFile", "evalScript", "parseScript",
                                         "stdIn", "quit", "sysInfo", "setDataRequestCallBack"};
    for (const char* word : kWords)
        if (text.find(word) != std::string::npos) return true;
    return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    using namespace Qfn;
    const int64_t before = OMStored::getOMStoredCount();
    {
        std::string text(reinterpret_cast<const char*>(data), size);
        if (reachesOutside(text)) return 0;
        QfnTest::ScriptResult result = QfnTest::runScriptBounded(text, 20, 500);
        if (result.parsed) {
            std::string printed = OMExpression::nodeSourceText(result.tree);
            auto again = OMStored::undefinedFactory();
            if (!ParseTask::call(again, printed) || !OMExpression::nodesEqual(result.tree, again)) {
                std::fprintf(stderr, "round trip failed\n  printed: %s\n  again:   %s\n", printed.c_str(),
                             OMExpression::nodeSourceText(again).c_str());
                __builtin_trap();
            }
        }
    }
    Task::deregisterAllTasks();
    if (OMStored::getOMStoredCount() != before) {
        std::fprintf(stderr, "OMStored count %lld after the run, %lld before\n",
                     static_cast<long long>(OMStored::getOMStoredCount()), static_cast<long long>(before));
        __builtin_trap();
    }
    return 0;
}
