// A script file read whole, parsed, and evaluated: the parse runs as a task of its own.
#include <sys/stat.h>

#include <fstream>
#include <sstream>

#include "QfnLogger/Check.h"
#include "QfnParser/model/OMScope.h"
#include "QfnParser/model/OMStored.h"
#include "QfnParser/tasks/script/ParseTask.h"
#include "QfnTask/YieldingFrame.h"
#include "QfnUtils/Utils.h"

namespace Qfn {

// Reads the file whole, parses it, and evaluates it with its path on the scope's script stack.
void OMStored::evalScript_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                                   const std::shared_ptr<OMScope>& scope, const std::string& scriptFilePath,
                                   HandleReturnValue handleReturnValue)
{
    struct LocalVariableState : virtual OMFunctionState {
        std::shared_ptr<OMStored> script;
    };
    enum : unsigned { EVALUATE = 1 };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) retVal = nullptr;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0: {
                    s.fState = kFinished;
                    SANITY_CHECK(scope);
                    struct stat info {};
                    if (::stat(scriptFilePath.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) {
                        LOG_ERROR("does not exist: " + scriptFilePath);
                        break;
                    }
                    std::ifstream file(scriptFilePath, std::ios::binary);
                    SANITY_CHECK(file);
                    std::ostringstream text;
                    text << file.rdbuf();
                    ASSIGN(s.script, OMStored::undefinedFactory());
                    if (!ParseTask::call(s.script, std::string(Utils::withoutByteOrderMark(text.str()))))
                        break;
                    SANITY_CHECK(scope->pushScriptFilePath(scriptFilePath));
                    s.fState = EVALUATE;
                    break;
                }
                    YIELDING_CALL(EVALUATE, s.script->eval_yielding(task, retVal, scope, handleReturnValue));
                case resumeAfter(EVALUATE):
                    s.fState = kFinished;
                    SANITY_CHECK(scope->popScriptFilePath());
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

}  // namespace Qfn
