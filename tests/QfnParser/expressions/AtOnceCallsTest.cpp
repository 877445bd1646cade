// Calls of script functions tried at once as a whole. Each script runs both ways (at once on,
// then off) and must give the same value, the same variables and the same number of logged
// errors: a call that gives up part way must have left nothing done twice.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "QfnParser/model/OMNode.h"
#include "QfnParser/model/OMScope.h"
#include "QfnParser/model/OMStored.h"
#include "QfnTask/Task.h"
#include "support/BothWays.h"
#include "support/LogCapture.h"
#include "support/ScriptRunner.h"

using Qfn::OMNode;
using Qfn::OMStored;
using QfnTest::expectSameBothWays;

namespace {

class AtOnceCalls : public ::testing::Test {
protected:
    void SetUp() override { fBefore = OMStored::getOMStoredCount(); }
    void TearDown() override
    {
        OMNode::setAtOnceEnabled(true);
        EXPECT_EQ(OMStored::getOMStoredCount(), fBefore);
    }

    int64_t fBefore = 0;
};

const std::string kFib = "function fib(n) { if (n < 2) { return n }; return fib(n - 1) + fib(n - 2) }; ";

}  // namespace

TEST_F(AtOnceCalls, CallsAgreeWithTheResumableWayAndNothingHappensTwice)
{
    const std::vector<std::string> values = expectSameBothWays({
        kFib + "fib(15)",
        // Over the budget of one attempt: the top runs resumably, the subtrees at once.
        kFib + "fib(18)",
        "function p(n) { n = n + 1; return n }; x = 5; [p(x), x]",
        "function q(n) { n++; return n * 10 }; q(3 + 4)",
        "function none() { }; typeof none()",
        "function two(a, b) { return [a, b] }; two(1)",
        // Stores outside the call's own scope: given up, then done once the resumable way.
        "count = 0; function f(n) { count = count + 1; return n }; [f(1) + f(2), count]",
        "o = {x: 1}; function setX(v) { o.x = v; return v }; [setX(5), o.x]",
        "a = [1, 2]; function put(v) { a[0] = v; return v }; [put(7), a]",
        // Arguments with side effects are evaluated once.
        "i = 0; function g(v) { return v * 2 }; [g(i++) + g(i++), i]",
        // Names the call does not bind at once: the resumable way binds them.
        "function h(a, b) { return arguments.length + this }; h(5, 6)",
        "function outer(a) { return inner() }; function inner() { return arguments[0] }; outer(4)",
        // A callee that is no function is reported once.
        "function e(n) { return nope(n) }; e(1)",
        "function w() { fresh = 3; return fresh }; [w(), typeof fresh]",
        "function d(n) { if (n < 1) { return 0 }; return 1 + d(n - 1) }; d(60)",
        "function s(t, k) { if (k < 1) { return t }; return s(t + 'x', k - 1) }; s('', 5).length",
        // Names seen and stored through the callers' scopes, across different functions.
        "function o2(x) { return i2() + x }; function i2() { return x * 10 }; o2(4)",
        "function o3(x) { i3(); return x }; function i3() { x = 9 }; o3(1)",
        "function ping(n) { if (n < 1) { return 0 }; return pong(n - 1) + n }; "
        "function pong(m) { if (m < 1) { return 0 }; return ping(m - 1) * 2 }; ping(12)",
        // A name twice in a signature: the later binding wins as it does in a map.
        "function dup(a, a) { return a }; dup(1, 2)",
        "function lv(a) { var a; return typeof a }; lv(3)",
        "function loc(n) { var t = n * 2; var u; u = t + 1; return [t, u] }; [loc(4), typeof t]",
        "var top = 3; var fresh2; [top, typeof fresh2]",
        // Numbers with and without fractions through the operators.
        "function m(a, b) { return [a + b, a - b, a * b, a / b, a < b, a > b, a <= b, a >= b, a == b] }; "
        "[m(3, 4), m(2.5, 2), m(7, 7.0)]",
    });
    EXPECT_EQ(values[0], "610");
    EXPECT_EQ(values[1], "2584");
    EXPECT_EQ(values[2], "[6, 5]");
    EXPECT_EQ(values[3], "80");
    EXPECT_EQ(values[6], "[3, 2]");
    EXPECT_EQ(values[7], "[5, 5]");
    EXPECT_EQ(values[9], "[2, 2]");
    EXPECT_EQ(values[10], "7");
    EXPECT_EQ(values[14], "60");
}

TEST_F(AtOnceCalls, RecursionTooDeepFailsBothWays)
{
    // Calls at once nest within the frames the task has left, so a recursion too deep for the
    // resumable way gives up and fails there.
    const std::string script = "function d(n) { if (n < 1) { return 0 }; return 1 + d(n - 1) }; d(1000)";
    for (bool atOnce : {true, false}) {
        OMNode::setAtOnceEnabled(atOnce);
        QfnTest::LogCapture log(1);
        QfnTest::ScriptResult result = QfnTest::runScript(script);
        EXPECT_EQ(result.text(), "null") << atOnce;
        EXPECT_GT(log.countContaining("resumable calls nested too deep"), 0u) << atOnce;
        OMNode::setAtOnceEnabled(true);
        Qfn::Task::deregisterAllTasks();
    }
}

TEST_F(AtOnceCalls, ALongRecursionStillTakesTurns)
{
    // At once without a budget this would run for seconds in one go; with it, the script is
    // dropped when its few short slices are spent.
    const auto start = std::chrono::steady_clock::now();
    const QfnTest::ScriptResult result = QfnTest::runScriptBounded(kFib + "fib(32)", 3, 20000);
    const auto elapsed = std::chrono::steady_clock::now() - start;
    EXPECT_TRUE(result.parsed);
    EXPECT_FALSE(result.completed);
    EXPECT_LT(elapsed, std::chrono::seconds(10));
    Qfn::Task::deregisterAllTasks();
}
