// The two ways an expression is evaluated (at once, without frames, and resumably) agree on every
// script of the corpus and the examples, and run each side effect exactly once.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "support/BothWays.h"

namespace {

namespace fs = std::filesystem;

std::vector<std::string> scriptsIn(const fs::path& folder)
{
    std::vector<std::string> scripts;
    for (const auto& entry : fs::directory_iterator(folder)) {
        if (entry.path().extension() != ".qfl") continue;
        std::ifstream file(entry.path(), std::ios::binary);
        std::ostringstream text;
        text << file.rdbuf();
        scripts.push_back(text.str());
    }
    return scripts;
}

TEST(EvaluationPaths, CorpusAndExamplesGiveTheSameBothWays)
{
    const fs::path root = QFN_SOURCE_DIR;
    std::vector<std::string> scripts = scriptsIn(root / "tests" / "QfnParser" / "corpus");
    // The examples write files and print; what they leave in their scope is compared.
    for (const std::string& example : scriptsIn(root / "examples"))
        if (example.find("fileOpen") == std::string::npos && example.find("writeFile") == std::string::npos)
            scripts.push_back(example);
    ASSERT_GT(scripts.size(), 40u);
    QfnTest::expectSameBothWays(scripts);
}

// tick() counts how often the operand it wraps is evaluated: once, whichever way runs.
TEST(EvaluationPaths, EachOperandIsEvaluatedOnce)
{
    const std::string prelude =
        "ticks = 0; function tick(v) { ticks = ticks + 1; return v }; a = [0, 0]; o = {p: 1}; s = 'x';"
        "function f(x) { return x }; function g() { for (k = 0; k < 1; ++k) {}; return 1 }; "
        "function w(n) { return n == 0 ? 1 : w(n - 1) + w(n - 1) }; ";
    const std::vector<std::pair<std::string, int>> cases = {
        {"x = tick(1) + tick(2)", 2},
        {"a[tick(0)] = tick(5)", 2},
        {"o.p = tick(3)", 1},
        {"o[tick('p')] = tick(4)", 2},
        {"s += tick('y')", 1},
        {"s = s + tick('z')", 1},
        {"tick(true) ? tick(1) : tick(2)", 2},
        {"f(tick(1))", 1},
        {"tick('abc').substr(tick(1), tick(1))", 3},
        {"[tick(1), {k: tick(2)}]", 2},
        {"tick(1) < tick(2) && tick(3) == tick(3)", 4},
        {"-tick(2)", 1},
        {"i = 0; while (tick(i) < 3) { i = i + 1 }", 4},
        {"a.push(tick(7))", 1},
        {"o.q = f(tick(8))", 1},
        {"keys(tick(o)).length", 1},
        // Operands next to ones that must run resumably (g loops).
        {"tick('abc').substr(g(), 1)", 1},
        {"tick('abc').substr(tick(1), g())", 2},
        {"f(tick(1)) + g()", 1},
        {"tick(1) + g()", 1},
        {"o.p = tick(1) + g()", 1},
        {"a[tick(0)] = g()", 1},
        {"[tick(1), g()]", 1},
        {"x = {k: tick(1), l: g()}", 1},
        {"a[tick(9)] = tick(1)", 2},
        {"tick(f)(g())", 1},
        {"f(tick(2), g())", 1},
        {"o.p += tick(2)", 1},
        {"tick(o).p = g()", 1},
        // A call tried at once that gives up when it spends its budget of calls (w, 2,047 calls) after its
        // neighbours ran.
        {"tick(1) + w(11)", 1},
        {"o.p = tick(1) + w(11)", 1},
        {"f(tick(1), w(11))", 1},
        {"tick('abc').substr(w(11) - 2047, 1)", 1},
        {"[tick(1), w(11)]", 1},
        {"a[tick(1)] = w(11)", 1},
        {"tick(1) ? w(11) : 0", 1},
        // A string grown in place inside a call tried at once, also one that gives up afterwards.
        {"function app(x) { s += tick(x); return 1 }; app('q') + app('r')", 2},
        {"function app2() { s += tick('q'); return w(11) }; app2()", 1},
        {"function app3(t) { t += tick('q'); return t }; app3(s) + s", 1},
    };
    for (const auto& [statement, expected] : cases) {
        const std::string script = prelude + statement + "; ticks";
        const std::vector<std::string> values = QfnTest::expectSameBothWays({script});
        ASSERT_EQ(values.size(), 1u);
        EXPECT_EQ(values[0], std::to_string(expected)) << statement;
    }
}

// Scripts on which the two ways differed, found by fuzz/DifferentialFuzzer.cpp and cut down by hand.
TEST(EvaluationPaths, ScriptsTheDifferentialFuzzerFound)
{
    QfnTest::expectSameBothWays({
        // The left operand writes a member an array cannot have, which fails: the two ways must
        // agree on whether the right operand still runs.
        "a = [7]; n = 1; (a.q = 1) + (n = 10); n",
        "a = [7]; n = 1; (a.q++) && (n = 10); n",
        "a = [7]; n = 1; x = (a.q += 1) - {q: (n = 10)}; n",
    });
}

}  // namespace
