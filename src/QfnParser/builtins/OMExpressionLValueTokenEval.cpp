// The built-ins that run scripts: eval (a text), evalScript (a file), parseScript (statement by
// statement through the instrumentation task).
#include "QfnLogger/Check.h"
#include "QfnParser/expressions/OMExpressionLValueToken.h"
#include "QfnParser/model/OMScope.h"
#include "QfnParser/model/OMStored.h"
#include "QfnParser/query/OMAccessor.h"
#include "QfnParser/tasks/script/ParseTask.h"
#include "QfnTask/YieldingFrame.h"
#include "QfnUtils/Dirs.h"

namespace Qfn {

void OMExpressionLValueToken::ftn_eval_yielding(const std::shared_ptr<Task>& task,
                                                std::shared_ptr<IOMNode>& retVal, AccessType,
                                                const std::shared_ptr<OMScope>& scope,
                                                OMExpressionLValueResolution& resolution) const
{
    evalOrEvalScript_yielding(task, retVal, scope, resolution, false);
}

void OMExpressionLValueToken::ftn_evalScript_yielding(const std::shared_ptr<Task>& task,
                                                      std::shared_ptr<IOMNode>& retVal, AccessType,
                                                      const std::shared_ptr<OMScope>& scope,
                                                      OMExpressionLValueResolution& resolution) const
{
    evalOrEvalScript_yielding(task, retVal, scope, resolution, true);
}

// eval([map,] text) and evalScript([map,] path). With a map in front, the script runs in a scope of
// its own whose variables are that map's members, and which reads the caller's variables. A
// target address after the text names another coordinator, which needs messaging.
void OMExpressionLValueToken::evalOrEvalScript_yielding(const std::shared_ptr<Task>& task,
                                                        std::shared_ptr<IOMNode>& retVal,
                                                        const std::shared_ptr<OMScope>& scope,
                                                        OMExpressionLValueResolution& resolution,
                                                        bool isScriptFile) const
{
    struct LocalVariableState : virtual OMFunctionState {
        std::shared_ptr<OMScope> thisScope;
        std::shared_ptr<OMStored> script;
        std::string scriptFilePath;
        std::shared_ptr<IOMNode> result;
    };
    enum : unsigned { EVAL = 1, EVAL_SCRIPT };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) retVal = nullptr;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0: {
                    s.fState = kFinished;
                    ASSIGN(retVal, OMStored::undefinedFactory());
                    if (!requireArguments(resolution, 1)) break;
                    SANITY_CHECK(scope);
                    s.thisScope = scope;
                    uint64_t next = 0;
                    std::shared_ptr<IOMNode> evalIntoNode = resolution.getArgNode(0);
                    if (evalIntoNode->getType() == OMType::Map) {
                        ASSIGN(s.thisScope, OMScope::scopeFactory(scope, ScopeRelationType::READ_ONLY));
                        SANITY_CHECK(s.thisScope->set(evalIntoNode));
                        next = 1;
                    }
                    if (!requireArguments(resolution, next + 1)) break;
                    std::string text = OMAccessor(resolution.getArgNode(next)).getAsString();
                    std::shared_ptr<IOMNode> targetNode = resolution.getArgNode(next + 1);
                    if (targetNode && targetNode->getType() == OMType::String) {
                        LOG_ERROR(std::string("function not found: ") + OMStored::tokenToStr(fToken));
                        retVal = nullptr;
                        break;
                    }
                    ASSIGN(s.script, OMStored::undefinedFactory());
                    if (isScriptFile) {
                        s.scriptFilePath = text;
                        std::string curScriptFilePath = scope->getCurScriptFilePath();
                        if (!text.empty() && text[0] != Dirs::kSeparator && !curScriptFilePath.empty())
                            s.scriptFilePath = Dirs::getParentPath(curScriptFilePath) + text;
                        if (!Dirs::fileExists(s.scriptFilePath)) {
                            reportScriptError("evalScript: script file does not exist");
                            break;
                        }
                        s.fState = EVAL_SCRIPT;
                        break;
                    }
                    if (!ParseTask::call(s.script, text)) {
                        reportScriptError("cannot evaluate string");
                        break;
                    }
                    s.fState = EVAL;
                    break;
                }
                    YIELDING_CALL(EVAL, s.script->eval_yielding(task, s.result, s.thisScope,
                                                                HandleReturnValue::UNWRAP));
                case resumeAfter(EVAL):
                    s.fState = kFinished;
                    if (s.result) retVal = s.result;
                    break;
                    YIELDING_CALL(EVAL_SCRIPT,
                                  s.script->evalScript_yielding(task, s.result, s.thisScope, s.scriptFilePath,
                                                                HandleReturnValue::UNWRAP));
                case resumeAfter(EVAL_SCRIPT):
                    s.fState = kFinished;
                    if (!s.result) {
                        reportScriptError("evalScript: cannot evaluate string");
                        break;
                    }
                    retVal = s.result;
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

}  // namespace Qfn
