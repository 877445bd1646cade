// parseScript: a script text cut into statements by the instrumentation task and then read and
// evaluated statement by statement in a scope of its own.
#include <memory>

#include "QfnLogger/Check.h"
#include "QfnParser/expressions/OMExpressionLValueToken.h"
#include "QfnParser/model/OMScope.h"
#include "QfnParser/model/OMStored.h"
#include "QfnParser/query/OMAccessor.h"
#include "QfnParser/streams/IOStreamPrompted.h"
#include "QfnParser/streams/InputStreamString.h"
#include "QfnParser/streams/OutputStreamString.h"
#include "QfnParser/tasks/script/CallNodeAsFunctionTask.h"
#include "QfnParser/tasks/script/InstrumentScriptStreamTask.h"
#include "QfnParser/tasks/script/ParseAndEvalStreamTask.h"
#include "QfnTask/CallYieldingTask.h"
#include "QfnTask/YieldingFrame.h"
#include "QfnUtils/Clock.h"

namespace Qfn {

namespace {

// One run of parseScript: the text, the two tasks it goes through, and the time it may take.
struct ParseScriptRun {
    std::shared_ptr<InputStreamString> input;
    uint64_t inputSize = 0;
    std::shared_ptr<OutputStreamString> statements;
    std::shared_ptr<Task> instrumentTask;
    std::shared_ptr<Task> evalTask;
    std::shared_ptr<OMScope> scope;
    int64_t deadline = 0;  // nanoseconds; 0 for none
};

bool isPastDeadline(const ParseScriptRun& run)
{
    return run.deadline != 0 && Clock::nowNanoseconds() >= run.deadline;
}

// Drives the run to its end from the calling task, which waits without blocking the others;
// completed is false when the run timed out or failed.
void runParseScript_yielding(const std::shared_ptr<Task>& task, bool& completed,
                             const std::shared_ptr<ParseScriptRun>& run)
{
    struct LocalVariableState : virtual OMFunctionState {
        std::shared_ptr<ParseScriptRun> run;
    };
    enum : unsigned { CUT_STATEMENTS = 1, EVALUATE, TIMED_OUT };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) completed = false;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0:
                    s.fState = kFinished;
                    SANITY_CHECK(run && run->instrumentTask);
                    s.run = run;
                    SANITY_CHECK(Task::startTask(s.run->instrumentTask));
                    s.fState = CUT_STATEMENTS;
                    break;
                case CUT_STATEMENTS:
                    if (isPastDeadline(*s.run)) {
                        s.fState = TIMED_OUT;
                        break;
                    }
                    // The text is all there: once it has been read, its end is the input's end.
                    if (s.run->input->getPos() >= s.run->inputSize && !s.run->input->atEOF())
                        s.run->input->setEOF();
                    if (!s.run->instrumentTask->getIsTaskCompleted()) {
                        task->setTimesliceCompleted();
                        break;
                    }
                    s.fState = kFinished;
                    SANITY_CHECK(s.run->instrumentTask->getRetValBool());
                    ASSIGN(s.run->evalTask, ParseAndEvalStreamTask::factory(OMStored::undefinedFactory(),
                                                                            s.run->scope, s.run->statements));
                    // What the statements write goes where the caller's output goes.
                    s.run->evalTask->registerParentTask(task);
                    SANITY_CHECK(Task::startTask(s.run->evalTask));
                    s.fState = EVALUATE;
                    break;
                case EVALUATE:
                    if (isPastDeadline(*s.run)) {
                        s.fState = TIMED_OUT;
                        break;
                    }
                    if (!s.run->evalTask->getIsTaskCompleted()) {
                        task->setTimesliceCompleted();
                        break;
                    }
                    completed = s.run->evalTask->getRetValBool();
                    s.fState = kFinished;
                    break;
                case TIMED_OUT:
                    LOG_WARNING("parseScript timed out");
                    for (const std::shared_ptr<Task>& stopped : {s.run->instrumentTask, s.run->evalTask})
                        if (stopped && !stopped->getIsTaskCompleted())
                            Task::deregisterTask(stopped->getTaskId());
                    s.fState = kFinished;
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

}  // namespace

// parseScript(text [, options]): options are the flag "noWait", the pairs "timeOut" with
// microseconds and "prompt" with a text shown before the run, and a function, which is called
// with the outcome when a run without waiting has ended. The result is true when every statement
// was read (false after a time-out); with "noWait" it is true at once.
void OMExpressionLValueToken::ftn_parseScript_yielding(const std::shared_ptr<Task>& task,
                                                       std::shared_ptr<IOMNode>& retVal, AccessType,
                                                       const std::shared_ptr<OMScope>& scope,
                                                       OMExpressionLValueResolution& resolution) const
{
    struct LocalVariableState : virtual OMFunctionState {
        std::shared_ptr<ParseScriptRun> run;
        bool completed = false;
        std::string prompt;
        std::shared_ptr<OutputStream> outputStream;
        bool written = false;
    };
    enum : unsigned { SHOW_PROMPT = 1, RUN };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) retVal = nullptr;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0: {
                    s.fState = kFinished;
                    ASSIGN(retVal, OMStored::undefinedFactory());
                    SANITY_CHECK(scope);
                    std::shared_ptr<IOMNode> textNode = resolution.getArgNode(0);
                    if (!textNode || textNode->getType() != OMType::String) {
                        reportScriptError("insufficient arguments");
                        break;
                    }
                    bool noWait = false;
                    int64_t timeoutMicroseconds = 0;
                    std::shared_ptr<OMStored> callBackFunction;
                    bool isOptionValid = true;
                    for (uint64_t idx = 1; idx < resolution.getArgCount() && isOptionValid; ++idx) {
                        std::shared_ptr<IOMNode> option = resolution.getArgNode(idx);
                        std::shared_ptr<IOMNode> value = resolution.getArgNode(idx + 1);
                        std::string name = option->getType() == OMType::String ? option->getString() : "";
                        if (option->getType() == OMType::Function) {
                            callBackFunction = option->getOMStoredPtr();
                        } else if (name == "noWait") {
                            noWait = true;
                        } else if (name == "timeOut" && value) {
                            timeoutMicroseconds = OMAccessor(value).getInt();
                            ++idx;
                        } else if (name == "prompt" && value) {
                            s.prompt = OMAccessor(value).getAsString();
                            ++idx;
                        } else {
                            isOptionValid = false;
                        }
                    }
                    if (!isOptionValid) {
                        reportScriptError("unexpected parseScript option");
                        break;
                    }
                    if (noWait) {
                        SANITY_CHECK(callBackFunction);
                    }
                    ASSIGN(s.run, std::make_shared<ParseScriptRun>());
                    ParseScriptRun& run = *s.run;
                    const std::string& text = textNode->getString();
                    ASSIGN(run.input, InputStreamString::factory(text));
                    run.inputSize = text.size();
                    ASSIGN(run.statements, OutputStreamString::factory());
                    ASSIGN(run.scope, OMScope::scopeFactory(scope, ScopeRelationType::READ_WRITE));
                    std::shared_ptr<IOStreamPrompted> ioStream;
                    ASSIGN(ioStream, IOStreamPrompted::factory(run.input, run.statements));
                    // Prompts would land among the statements: the run shows its own prompt instead.
                    ioStream->setPrompt(OMStored::factory(""));
                    ioStream->setPromptContinuation(OMStored::factory(""));
                    ASSIGN(run.instrumentTask,
                           InstrumentScriptStreamTask::factory(OMStored::undefinedFactory(), run.scope,
                                                               scope->getCurScriptFilePath(), ioStream));
                    if (timeoutMicroseconds > 0)
                        run.deadline = Clock::nowNanoseconds() + timeoutMicroseconds * 1000;
                    if (noWait) {
                        std::shared_ptr<ParseScriptRun> detached = s.run;
                        std::shared_ptr<OMScope> callBackScope = scope;
                        auto completed = std::make_shared<bool>(false);
                        std::shared_ptr<Task> runner = CallYieldingTask::factory(
                            "parseScript", [detached, callBackFunction, callBackScope,
                                            completed](const std::shared_ptr<Task>& runnerTask) {
                                runParseScript_yielding(runnerTask, *completed, detached);
                                if (runnerTask->areNestedFunctionStatesActive()) return;
                                auto arguments = std::make_shared<std::vector<std::shared_ptr<IOMNode>>>();
                                arguments->push_back(OMStored::factory(*completed));
                                Task::startTask(
                                    CallNodeAsFunctionTask::factory(callBackFunction, false, nullptr,
                                                                    arguments, callBackScope, "parseScript"));
                            });
                        SANITY_CHECK(runner);
                        SANITY_CHECK(Task::startTask(runner));
                        SANITY_CHECK(retVal->set(true));
                        break;
                    }
                    s.fState = RUN;
                    if (s.prompt.empty()) break;
                    ASSIGN(s.outputStream, task->getOutputStream());
                    s.fState = SHOW_PROMPT;
                    break;
                }
                    YIELDING_CALL(SHOW_PROMPT, s.outputStream->write_yielding(task, s.written, s.prompt));
                case resumeAfter(SHOW_PROMPT):
                    s.fState = RUN;
                    break;
                    YIELDING_CALL(RUN, runParseScript_yielding(task, s.completed, s.run));
                case resumeAfter(RUN):
                    s.fState = kFinished;
                    SANITY_CHECK(retVal->set(s.completed));
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

}  // namespace Qfn
