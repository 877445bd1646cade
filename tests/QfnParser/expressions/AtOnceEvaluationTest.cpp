// Expressions that cannot suspend are evaluated at once, without frames. Each script here runs
// both ways (at once on, then off) and must give the same value, the same variables and the
// same number of logged errors.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "QfnParser/model/IOMNode.h"
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
using QfnTest::runScript;

namespace {

class AtOnceEvaluation : public ::testing::Test {
protected:
    void SetUp() override { fBefore = OMStored::getOMStoredCount(); }
    void TearDown() override
    {
        OMNode::setAtOnceEnabled(true);
        EXPECT_EQ(OMStored::getOMStoredCount(), fBefore);
    }

    int64_t fBefore = 0;
};

}  // namespace

TEST_F(AtOnceEvaluation, OperatorsNamesAndAssignmentsAgreeWithTheResumableWay)
{
    const std::vector<std::string> values = expectSameBothWays({
        "a = 2; b = 3; a * b + 1",
        "x = 7; y = x; y = y + 1; [x, y]",
        "a = b = 5; a + b",
        "s = 'ab'; s = s + 1 + 2; s",
        "i = 3; j = i++; k = ++i; [i, j, k]",
        "i = 3; j = i--; k = --i; [i, j, k]",
        "n = 1; -n + !n + ~n",
        "t = typeof q; [t, typeof 1, typeof 'x']",
        "missing + 1",
        "a = 1; a < 2 ? 'less' : 'more'",
        "a = 5; if (a > 3) { b = 1 } else { b = 2 }; b",
        "c = 4000000000 + 4000000000; c",
        "1 + 2 + 3 + 4 + 5 * 2",
    });
    EXPECT_EQ(values[0], "7");
    EXPECT_EQ(values[1], "[7, 8]");
    EXPECT_EQ(values[4], "[5, 3, 5]");
    EXPECT_EQ(values[8], "error");
}

TEST_F(AtOnceEvaluation, MembersContainersAndScopesAgreeWithTheResumableWay)
{
    const std::vector<std::string> values = expectSameBothWays({
        // Members of nested maps, read and written; a new member is made by writing it.
        "a = {w: 3, z: {x: 0, y: 1}}; a.z.x = a.z.x + a.z.y; a.z.y = a.w - a.z.y; a.z.n = 9; a",
        // Containers are shared by assignment, scalars copied.
        "m = {k: 1}; n = m; n.k = 2; p = m.k; p = 3; [m.k, p]",
        // Elements of an array by numeric member.
        "v = [1, 2, 3]; v.1 = v.0 + v.2; v",
        // Literals build fresh containers whose members are nodes of their own.
        "i = 4; m = {a: i, b: 'x' + i, c: [i, i * 2]}; i = 5; m",
        "k = 2; r = [k, [k + 1], {q: k}]; r.1.0 = 0; r",
        // A member of a scalar cannot be written; a member of a missing map reads as Error.
        "s = 1; s.x = 2; s",
        "u = {}; u.a.b",
        // A structure cannot hold itself.
        "a = {}; a.self = a; typeof a.self",
        // Functions: parameters are copies, locals shadow, `return` ends the body.
        "function f(x) { x = x + 1; return x * 2 }; y = 1; [f(y), y]",
        "a = 1; function g() { var a = 5; a = a + 1; return a }; [g(), a]",
        "function h(n) { if (n < 2) { return n }; return h(n - 1) + h(n - 2) }; h(12)",
        // Elements and members by a computed index, read and written.
        "v = [5, 6, 7]; i = 1; v[i + 1] = v[i] * 2; m = {k: 1}; m['k'] = m['k'] + v[2]; [v, m, v[9], v['x']]",
        "w = []; w[3] = 1; n = 5; n[0] = 1; [w, n]",
        // Built-ins that never suspend, as functions and as methods, misused too.
        "s = 'abcabc'; [s.substr(2), s.indexOf('ca'), abs(0 - 3), s.substr()]",
        "t = 'abcd'; a = [1, 2]; m = {length: 7}; e = {}; n = 3; [t.length, a.length, m.length, e.length, n.length]",
        "a = []; a.push({x: 1}); a.push(2 + 1); b = a.pop(); [a, b, keys({p: 1, q: 2})]",
        // eval into a map sees through a read-only link: writes stay in the map.
        "q = 1; m = {}; eval('z = q + 1; q = 7', m); [q, m.z, m.q]",
    });
    EXPECT_EQ(values[0], "{ \"w\": 3, \"z\": { \"n\": 9, \"x\": 1, \"y\": 2 } }");
    EXPECT_EQ(values[1], "[2, 3]");
    EXPECT_EQ(values[10], "144");
    EXPECT_EQ(values[11], "[[5, 6, 12], { \"k\": 13 }, error, error]");
    EXPECT_EQ(values[14], "[4, 2, 7, undefined, undefined]");
    EXPECT_EQ(values[13], "[\"cabc\", 2, 3, \"abcabc\"]");
}

TEST_F(AtOnceEvaluation, LoopsRunTheirStatementsInTurnAndStopAtBreakAndReturn)
{
    const std::vector<std::string> values = expectSameBothWays({
        "s = 0; i = 0; while (i < 100) { i = i + 1; s = s + i }; s",
        "s = 0; i = 0; while (i < 100) { i = i + 1; if (i > 10) { break }; s = s + i }; [i, s]",
        "j = 0; function f() { i = 0; while (true) { i = i + 1; if (i == 7) { return i * 3 }; j = i } }; [f(), j]",
        "i = 0; do { i = i + 2; k = i } while (i < 9); [i, k]",
        "n = 0; while (n < 3) { n++ }; n",
        "t = 0; i = 0; while (i < 4) { j = 0; while (j < 3) { t = t + 1; j = j + 1 }; i = i + 1 }; t",
    });
    EXPECT_EQ(values[0], "5050");
    EXPECT_EQ(values[1], "[11, 55]");
    EXPECT_EQ(values[2], "[21, 6]");
}

TEST_F(AtOnceEvaluation, ALoopOfStatementsDoneAtOnceStillEndsWithItsSlices)
{
    // Every statement of the body is done at once; the loop between them still asks whether
    // its slice is over, so an endless loop stops when the budget runs out.
    const QfnTest::ScriptResult result =
        QfnTest::runScriptBounded("i = 0; while (true) { i = i + 1; j = i * 2 }", 3, 2000);
    EXPECT_TRUE(result.parsed);
    EXPECT_FALSE(result.completed);
    Qfn::Task::deregisterAllTasks();
}
