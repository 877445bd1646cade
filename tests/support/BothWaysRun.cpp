#include "support/BothWaysRun.h"

#include "QfnParser/model/OMNode.h"
#include "QfnParser/model/OMScope.h"
#include "QfnTask/Task.h"
#include "support/LogCapture.h"
#include "support/ScriptRunner.h"

namespace QfnTest {

bool BothWaysOutcome::sameAs(const BothWaysOutcome& other) const
{
    return parsed == other.parsed && completed == other.completed && value == other.value &&
           scope == other.scope && output == other.output && errors == other.errors;
}

std::string BothWaysOutcome::describe() const
{
    if (!parsed) return "  did not parse within its budget\n";
    if (!completed) return "  did not end within its budget\n";
    return "  value:  " + value + "\n  scope:  " + scope + "\n  output: " + output +
           "\n  errors: " + std::to_string(errors) + "\n";
}

BothWaysOutcome runWithAtOnce(bool atOnce, const std::string& script, int slices, int64_t sliceMicroseconds)
{
    Qfn::OMNode::setAtOnceEnabled(atOnce);
    BothWaysOutcome outcome;
    {
        LogCapture log(1);
        ScriptResult result = runScriptCollectingOutput(script, slices, sliceMicroseconds);
        outcome.parsed = result.parsed;
        outcome.completed = result.completed;
        outcome.value = result.text();
        outcome.scope = result.scope ? result.scope->toString() : "";
        outcome.output = result.output;
        outcome.errors = log.lines().size();
    }
    Qfn::OMNode::setAtOnceEnabled(true);
    Qfn::Task::deregisterAllTasks();
    return outcome;
}

}  // namespace QfnTest
