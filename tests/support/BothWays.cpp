#include "support/BothWays.h"

#include <gtest/gtest.h>

#include "QfnParser/model/OMNode.h"
#include "QfnParser/model/OMScope.h"
#include "QfnTask/Task.h"
#include "support/LogCapture.h"
#include "support/ScriptRunner.h"

namespace QfnTest {

BothWaysOutcome runWithAtOnce(bool atOnce, const std::string& script)
{
    Qfn::OMNode::setAtOnceEnabled(atOnce);
    LogCapture log(1);
    ScriptResult result = runScript(script);
    BothWaysOutcome outcome{result.text(), result.scope ? result.scope->toString() : "", log.lines().size()};
    Qfn::OMNode::setAtOnceEnabled(true);
    Qfn::Task::deregisterAllTasks();
    return outcome;
}

std::vector<std::string> expectSameBothWays(const std::vector<std::string>& scripts)
{
    std::vector<std::string> values;
    for (const std::string& script : scripts) {
        const BothWaysOutcome fast = runWithAtOnce(true, script);
        const BothWaysOutcome slow = runWithAtOnce(false, script);
        EXPECT_EQ(fast.value, slow.value) << script;
        EXPECT_EQ(fast.scope, slow.scope) << script;
        EXPECT_EQ(fast.errors, slow.errors) << script;
        values.push_back(fast.value);
    }
    return values;
}

}  // namespace QfnTest
