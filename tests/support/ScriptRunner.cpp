#include "support/ScriptRunner.h"

#include "QfnCoordinator/InternalCoordinator.h"
#include "QfnParser/model/IOMNode.h"
#include "QfnParser/model/OMScope.h"
#include "QfnParser/model/OMStored.h"
#include "QfnParser/streams/IOStreamPrompted.h"
#include "QfnParser/streams/InputStreamString.h"
#include "QfnParser/streams/OutputStreamString.h"
#include "QfnParser/tasks/script/EvalTask.h"
#include "QfnParser/tasks/script/ParseTask.h"
#include "QfnTask/Task.h"

namespace QfnTest {

using namespace Qfn;

std::string ScriptResult::text() const
{
    return value ? value->toString() : "null";
}

std::shared_ptr<IOMNode> ScriptResult::variable(const std::string& name) const
{
    std::shared_ptr<IOMNode> node;
    if (!scope || !scope->readMember(name, node)) return nullptr;
    return node;
}

ScriptResult runScript(const std::string& text, std::shared_ptr<OMScope> scope)
{
    ScriptResult result;
    result.tree = OMStored::undefinedFactory();
    result.scope = scope ? scope : InternalCoordinator::scopeFactory();
    result.parsed = ParseTask::call(result.tree, text);
    if (!result.parsed) return result;
    result.value = EvalTask::call(result.tree, result.scope, HandleReturnValue::UNWRAP);
    result.completed = true;
    return result;
}

namespace {

// Runs the task for at most the budget (a negative slice count: to completion); true when it
// completed within it.
bool runWithin(const std::shared_ptr<Task>& task, int slices, int64_t sliceMicroseconds)
{
    if (slices < 0) task->runToCompletion();
    for (int i = 0; i < slices && !task->getIsTaskCompleted(); ++i)
        task->runTimeslice(sliceMicroseconds);
    bool completed = task->getIsTaskCompleted();
    if (!completed) Task::deregisterTask(task->getTaskId());
    return completed;
}

// Lends its prompted stream to the evaluation: a task writes output() to its parent's stream.
class OutputLenderTask : public Task {
public:
    explicit OutputLenderTask(std::shared_ptr<InputStream> stream)
        : Task("OutputLender", kRunToCompletion, std::move(stream))
    {
    }
    void timeslice() override {}
};

ScriptResult runBounded(const std::string& text, int slices, int64_t sliceMicroseconds,
                        const std::shared_ptr<OutputStreamString>& output)
{
    ScriptResult result;
    result.tree = OMStored::undefinedFactory();
    result.scope = InternalCoordinator::scopeFactory();
    auto parse = ParseTask::factory(result.tree, text);
    if (!parse || !runWithin(parse, slices, sliceMicroseconds)) return result;
    result.parsed = parse->getRetValBool();
    if (!result.parsed) return result;
    auto eval = EvalTask::factory(result.tree, result.scope, HandleReturnValue::UNWRAP);
    if (!eval) return result;
    std::shared_ptr<Task> lender;
    if (output) {
        auto stream = IOStreamPrompted::factory(InputStreamString::factory(""), output);
        lender = std::make_shared<OutputLenderTask>(stream);
        eval->registerParentTask(lender);
    }
    result.completed = runWithin(eval, slices, sliceMicroseconds);
    if (result.completed) result.value = std::dynamic_pointer_cast<EvalTask>(eval)->getValue();
    if (output) result.output = output->getAndClearBuffer();
    return result;
}

}  // namespace

ScriptResult runScriptBounded(const std::string& text, int slices, int64_t sliceMicroseconds)
{
    return runBounded(text, slices, sliceMicroseconds, nullptr);
}

ScriptResult runScriptCollectingOutput(const std::string& text, int slices, int64_t sliceMicroseconds)
{
    return runBounded(text, slices, sliceMicroseconds, OutputStreamString::factory());
}

}  // namespace QfnTest
