// Scripts parsed and evaluated on a scope, grouped by what they exercise. Every test ends with
// the count of stored nodes where it began.
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdlib>

#include "QfnParser/expressions/OMExpression.h"
#include "QfnParser/model/IOMNode.h"
#include "QfnParser/model/OMScope.h"
#include "QfnParser/model/OMStored.h"
#include "QfnParser/tasks/script/EvalTask.h"
#include "QfnTask/Task.h"
#include "support/LogCapture.h"
#include "support/ScopedDataHome.h"
#include "support/ScriptRunner.h"

using Qfn::OMStored;
using Qfn::OMType;
using QfnTest::runScript;

namespace {

class ScriptEvaluation : public ::testing::Test {
protected:
    void SetUp() override { fBefore = OMStored::getOMStoredCount(); }
    void TearDown() override
    {
        Qfn::Task::deregisterAllTasks();
        EXPECT_EQ(OMStored::getOMStoredCount(), fBefore);
    }

    // The value's read-back text, or "null" when the script did not parse or gave no value.
    static std::string valueOf(const std::string& script) { return runScript(script).text(); }

    int64_t fBefore = 0;
};

}  // namespace

TEST_F(ScriptEvaluation, ArithmeticAndPrecedence)
{
    EXPECT_EQ(valueOf("a = 12; b = a*a; c = a + b*b"), "20748");
    // Each operator is a level of its own: `*` binds tighter than `/`, `+` than `-`.
    EXPECT_EQ(valueOf("8 / 2 * 2"), "2");
    EXPECT_EQ(valueOf("5 - 2 + 1"), "2");
    EXPECT_EQ(valueOf("a = 8; b = 2; a / b * b"), "2");
    EXPECT_EQ(valueOf("a = 5; a - 2 + 1"), "2");
    EXPECT_EQ(valueOf("(1+2)*3"), "9");
    {
        // Constants fold while parsing: the tree is the Int itself.
        QfnTest::ScriptResult folded = runScript("1 + 2 * 3");
        ASSERT_TRUE(folded.parsed);
        EXPECT_EQ(folded.tree->getType(), OMType::Int);
        EXPECT_EQ(folded.tree->getInt(), 7);
    }
    EXPECT_EQ(valueOf("true + true"), "2");
    EXPECT_EQ(valueOf("typeof (1/0)"), "\"number\"");
    EXPECT_EQ(runScript("x = 1; x / 0").value->getType(), OMType::NaN);
    EXPECT_EQ(valueOf("'' + undefined"), "\"undefined\"");
    EXPECT_EQ(valueOf("!!!true"), "false");
    EXPECT_EQ(valueOf("+-true"), "-1");
    EXPECT_EQ(valueOf("\"a\" + typeof -1.2"), "\"anumber\"");
    EXPECT_EQ(valueOf("a = 7; (a & 3) | (a ^ 8)"), "15");
    EXPECT_EQ(valueOf("s = 0; i = 0; while (i < 10000) { s = s + 1000000; ++i }; s"), "10000000000");
    // An Int is negated exactly, also where a double would round it.
    EXPECT_EQ(valueOf("-9007199254740993"), "-9007199254740993");
}

TEST_F(ScriptEvaluation, AnUnknownVariableMakesErrorsThatHealWhenItIsSet)
{
    const std::string script = "a = 12; b = a*x; c = a + b*b";
    QfnTest::ScriptResult result = runScript(script);
    ASSERT_TRUE(result.completed);
    EXPECT_EQ(result.value->getType(), OMType::Error);
    EXPECT_EQ(result.variable("a")->getInt(), 12);
    EXPECT_TRUE(std::isnan(result.variable("b")->getAsNum()));
    // The same text again, once x exists in that scope.
    runScript("x = 111", result.scope);
    QfnTest::ScriptResult again = runScript(script, result.scope);
    EXPECT_EQ(again.text(), "1774236");
    EXPECT_EQ(again.variable("b")->getInt(), 1332);
}

TEST_F(ScriptEvaluation, Comparisons)
{
    EXPECT_EQ(valueOf("[3 <= 3, 3 != 3, 3 > 2, 2 >= 3]"), "[true, false, true, false]");
    EXPECT_EQ(valueOf("a = {x: 1}; [a === a, [1] === [1], [1] == [1], {a: 1} == {a: 1}]"),
              "[true, false, true, true]");
    // `==` does not convert between types, Int and Float included.
    EXPECT_EQ(valueOf("[undefined == null, undefined === null, 1 == '1', 1 == 1.0, 1.5 == 1.5]"),
              "[true, false, false, false, true]");
    // A string on the left compares bytewise against the right side's plain string.
    EXPECT_EQ(valueOf("['abc' < 'abd', 'abc' < 5, 1 < '2']"), "[true, false, true]");
}

TEST_F(ScriptEvaluation, AssignmentSharesContainersAndCopiesScalars)
{
    EXPECT_EQ(valueOf("a = [5, 6, 7]; b = a; a[1] = 99; b[1]++; c = b[1]"), "100");
    EXPECT_EQ(valueOf("a = {x: 1}; b = a; b.x = 2; a.x"), "2");
    EXPECT_EQ(valueOf("a = 12; b = a; ++a; b"), "12");
    EXPECT_EQ(valueOf("b=[1,2];b=b[1];"), "2");
    EXPECT_EQ(valueOf("a = 1; b = [a]; a = 2; b[0]"), "1");
    EXPECT_EQ(valueOf("a = [1]; a[3] = 4; a"), "[1, undefined, undefined, 4]");
    {
        // Reading far outside an array is Error; writing far beyond its end is refused.
        QfnTest::LogCapture log(1);
        EXPECT_EQ(valueOf("a = [1]; [a[1e30], a[5]]"), "[error, error]");
        QfnTest::ScriptResult far = runScript("a = [1]; a[3000000] = 1");
        EXPECT_EQ(far.value, nullptr);
        EXPECT_TRUE(log.hasLineEndingWith("index 3000000 is too far beyond the end"));
        EXPECT_EQ(far.variable("a")->getSize(), 1u);
    }
    EXPECT_EQ(valueOf("o = {}; o['k'] = 'v'; o.k"), "\"v\"");
    EXPECT_EQ(valueOf("x = 1; y = x++; z = x--; [x, y, z]"), "[1, 1, 2]");
    {
        // A member write on a scalar fails and leaves the scalar alone.
        QfnTest::LogCapture log(1);
        QfnTest::ScriptResult result = runScript("a = 12; a.x = 1");
        EXPECT_EQ(result.value, nullptr);
        EXPECT_EQ(result.variable("a")->getType(), OMType::Int);
    }
    {
        // No structure may hold itself, directly or through another.
        QfnTest::LogCapture log(1);
        QfnTest::ScriptResult direct = runScript("a = []; a[0] = a; a");
        EXPECT_EQ(direct.value, nullptr);
        EXPECT_TRUE(log.hasLineEndingWith("cannot store a structure inside itself: a[0]"));
        EXPECT_EQ(direct.variable("a")->toString(), "[undefined]");
        EXPECT_EQ(runScript("a = {}; b = [a]; a.x = b").value, nullptr);
        EXPECT_EQ(runScript("a = {}; k = 'me'; a[k] = a").value, nullptr);
        EXPECT_EQ(valueOf("a = [1]; b = [a, a]; b[1][0]"), "1");
    }
    {
        // Evaluating the same tree twice starts from the same literal both times.
        QfnTest::ScriptResult result = runScript("a = [1, 2]; a[0] = a[0] + 10; a[0]");
        EXPECT_EQ(result.text(), "11");
        auto again = Qfn::EvalTask::call(result.tree, result.scope, Qfn::HandleReturnValue::UNWRAP);
        ASSERT_NE(again, nullptr);
        EXPECT_EQ(again->toString(), "11");
    }
}

TEST_F(ScriptEvaluation, ControlFlow)
{
    EXPECT_EQ(valueOf("x = 3; while (x) { a = 12; ++a; --x; } a"), "13");
    EXPECT_EQ(valueOf("i = 0; do { i = i + 2 } while (i < 7); i"), "8");
    EXPECT_EQ(valueOf("s = 0; for (i = 0; i < 10; ++i) { s = s + i }; s"), "45");
    EXPECT_EQ(valueOf("i = 0; while (true) { i = i + 1; if (i == 5) { break } }; i"), "5");
    EXPECT_EQ(
        valueOf("n = 0; for (i = 0; i < 3; ++i) { j = 0; while (1) { if (j == 2) { break }; ++j; ++n } }; n"),
        "6");
    EXPECT_EQ(
        valueOf("x = 2; if (x == 1) { y = 'one' } else if (x == 2) { y = 'two' } else { y = 'many' }; y"),
        "\"two\"");
    {
        QfnTest::ScriptResult result = runScript("a=10;return 'a';a=20");
        EXPECT_EQ(result.text(), "\"a\"");
        EXPECT_EQ(result.variable("a")->getInt(), 10);
    }
    // The conditional evaluates one side only; `&&` and `||` evaluate both.
    EXPECT_EQ(valueOf("n = 0; function f() { n = n + 1; return 1 }; r = true ? 5 : f(); [r, n]"), "[5, 0]");
    EXPECT_EQ(
        valueOf(
            "n = 0; function f() { n = n + 1; return true }; r = false && f(); s = true || f(); [r, s, n]"),
        "[false, true, 2]");
    EXPECT_EQ(valueOf("i = 0; while (i < 10) { if (i == 3) { return i * 100 }; ++i }; 'not here'"), "300");
}

TEST_F(ScriptEvaluation, FunctionsAndScopes)
{
    EXPECT_EQ(valueOf("function bla2(x, y)\n{\n  return x + y;\n}\na = bla2(2,3)"), "5");
    EXPECT_EQ(valueOf("function bla1(x) { return x + 'a'; }; bla1(2)"), "\"2a\"");
    EXPECT_EQ(valueOf("a = 11; function bla4(x) { return a + x }; b = bla4(2)"), "13");
    EXPECT_EQ(valueOf("function f(x, y) { return typeof y }; f(1)"), "\"undefined\"");
    EXPECT_EQ(valueOf("a = 1; function f() { var a = 5; return a }; f() + a"), "6");
    EXPECT_EQ(valueOf("function fib(n) { if (n < 2) { return n }; return fib(n - 1) + fib(n - 2) }; fib(15)"),
              "610");
    EXPECT_EQ(valueOf("o = { n: 5, get: function() { return this.n } }; o.get()"), "5");
    EXPECT_EQ(valueOf("function count() { return arguments }; count(1, 'b')"), "[1, \"b\"]");
    // A parameter is a node of its own: assigning to it leaves the caller's variable alone,
    // while a container passed in is shared.
    EXPECT_EQ(valueOf("function f(x, y) { x = 5; y[0] = 9 }; a = 1; b = [0]; f(a, b); [a, b[0]]"), "[1, 9]");
    EXPECT_EQ(valueOf("add = function(a, b) { return a + b }; add(2, 40)"), "42");
    EXPECT_EQ(valueOf("function f() { 7 }; f()"), "7");
    EXPECT_EQ(valueOf("function f() { }; typeof f()"), "\"undefined\"");
    {
        // Endless recursion ends in a failed evaluation, not in a crash.
        QfnTest::LogCapture log(1);
        QfnTest::ScriptResult result = runScript("function r(n) { return r(n + 1) }; r(0)");
        EXPECT_TRUE(result.parsed);
        EXPECT_EQ(result.value, nullptr);
        EXPECT_GE(log.countContaining("nested too deep"), 1u);
    }
}

TEST_F(ScriptEvaluation, CallsOfWhatIsNoFunctionFail)
{
    QfnTest::LogCapture log(1);
    EXPECT_EQ(runScript("a = 5; a(1)").value, nullptr);
    EXPECT_TRUE(log.hasLineEndingWith("not a function: a"));
    EXPECT_EQ(runScript("o = {}; o.missing(1)").value, nullptr);
    EXPECT_TRUE(log.hasLineEndingWith("function not found: missing"));
    // A built-in that needs another coordinator fails the same way until the pipes exist.
    log.clear();
    EXPECT_EQ(runScript("sendData('id', 4)").value, nullptr);
    EXPECT_TRUE(log.hasLineEndingWith("function not found: sendData"));
}

TEST_F(ScriptEvaluation, UnaryOperatorsTypeofAndTruth)
{
    EXPECT_EQ(valueOf("[!true, !!true, !((! (!true))), ![1,2,3], !{'a':'b','c':'d'}, ! {a:'b',c:'d'}]"),
              "[false, true, false, false, false, false]");
    EXPECT_EQ(valueOf("[-+true, +-true, -true, -false, +'12']"), "[-1, -1, -1, 0, 12]");
    EXPECT_EQ(
        valueOf("[typeof !1, typeof -1.2, typeof [], typeof null, typeof undefined, typeof 'x', typeof {}]"),
        "[\"boolean\", \"number\", \"object\", \"object\", \"undefined\", \"string\", \"object\"]");
    EXPECT_EQ(valueOf("f = function() {}; typeof f"), "\"function\"");
    // A string of blanks is true in a condition; an empty one and an empty array are not.
    EXPECT_EQ(valueOf("[' ' ? 1 : 0, '' ? 1 : 0, 0.0 ? 1 : 0, NaN ? 1 : 0]"), "[1, 0, 0, 0]");
    EXPECT_EQ(valueOf("x = 5; [x++, x, ++x, x--, --x]"), "[5, 6, 7, 7, 5]");
    {
        // ++ and -- need something to store into.
        QfnTest::LogCapture log(1);
        EXPECT_FALSE(runScript("--true").parsed);
        EXPECT_FALSE(runScript("5++").parsed);
    }
}

TEST_F(ScriptEvaluation, LanguageExamplesWithBuiltIns)
{
    QfnTest::ScopedDataHome dataHome;
    struct Example {
        const char* script;
        const char* variable;
        std::string expected;
    };
    const char* home = std::getenv("HOME");
    const Example examples[] = {
        {"a = 'abcde';b = a.substr(1,2);", "b", "\"bc\""},
        {"a = { x : 1, y : 2, z : { x : 3, y : 4, p : { x : 8 } } };a.reference('*.+/x') = 9;b = a.z.x;", "b",
         "9"},
        {"s = sysInfo();h = '';if (s.isMac) {h = getEnv('HOME');}else if (s.isLinux) {h = getEnv('HOME');}"
         "else if (s.isWindows) {h = getEnv('USERPROFILE');}",
         "h", "\"" + std::string(home ? home : "") + "\""},
        {"reference(\"a\") = 1212", "a", "1212"},
        {"a = { x : 1, y : 2, z : { x : 3, y : 4 } };b = reference('a/x', 'selectfirst');", "b", "1"},
        {"a = [1, 2, 3];b = a.length;", "b", "3"},
        {"a = 'abcde';b = a.length + 2;", "b", "7"},
    };
    for (const Example& example : examples) {
        QfnTest::ScriptResult result = runScript(example.script);
        ASSERT_TRUE(result.completed) << example.script;
        auto variable = result.variable(example.variable);
        ASSERT_TRUE(variable) << example.script;
        EXPECT_EQ(variable->toString(), example.expected) << example.script;
    }
}

// Growing a value step by step costs about the same at every step: doubling the steps about
// doubles the time. A step that copied what was grown so far would quadruple it.
TEST(ScriptGrowth, GrowingAStringArrayOrMapTakesLinearTime)
{
    const char* patterns[] = {
        "p = '0123456789abcdef'; p += p; p += p; s = ''; for (i = 0; i < N; ++i) { s += p }; s.length / 64",
        "p = '0123456789abcdef'; p += p; p += p; s = ''; for (i = 0; i < N; ++i) { s = s + p }; s.length / "
        "64",
        "a = []; for (i = 0; i < N; ++i) { a.push(i) }; a.length",
        "a = []; for (i = 0; i < N; ++i) { a[i] = i }; a.length",
        "m = {}; for (i = 0; i < N; ++i) { m['k' + i] = i }; size(m)",
    };
    auto secondsFor = [](std::string script, int steps) {
        script.replace(script.find('N'), 1, std::to_string(steps));
        const auto start = std::chrono::steady_clock::now();
        QfnTest::ScriptResult result = runScript(script);
        const double seconds =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        EXPECT_EQ(result.text(), std::to_string(steps)) << script;
        return seconds;
    };
    for (const char* pattern : patterns) {
        secondsFor(pattern, 1000);  // warm the pools
        const double small = secondsFor(pattern, 5000);
        const double large = secondsFor(pattern, 20000);
        // Linear growth takes about 4 times as long for 4 times the steps; quadratic 16 times.
        EXPECT_LT(large, 8 * small + 0.05) << pattern << ": " << small << " s, then " << large << " s";
    }
}
