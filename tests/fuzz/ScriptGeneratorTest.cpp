// The generator behind the differential fuzzer: its scripts parse, end within a small budget, keep
// their values small and their arrays and maps what they are, use every construct it knows, and give
// the same outcome both ways.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "QfnParser/model/OMStored.h"
#include "support/BothWaysRun.h"
#include "support/ScriptGenerator.h"

namespace {

std::vector<uint8_t> randomBytes(std::mt19937& random, size_t size)
{
    std::vector<uint8_t> bytes(size);
    for (uint8_t& byte : bytes)
        byte = static_cast<uint8_t>(random() & 0xFF);
    return bytes;
}

std::string generate(const std::vector<uint8_t>& bytes)
{
    return QfnTest::generateScript(bytes.data(), bytes.size());
}

TEST(ScriptGenerator, TheSameBytesGiveTheSameScriptAndNoBytesTheSimplest)
{
    std::mt19937 random(7);
    const std::vector<uint8_t> bytes = randomBytes(random, 400);
    EXPECT_EQ(generate(bytes), generate(bytes));
    std::vector<uint8_t> other = bytes;
    other[0] ^= 0x5A;
    EXPECT_NE(generate(bytes), generate(other));
    // Without bytes: the globals, no function, no statement, and the value 0.
    const std::string simplest = generate({});
    EXPECT_EQ(simplest.find("function f"), std::string::npos) << simplest;
    EXPECT_EQ(simplest.substr(simplest.size() - 3), "\n0\n") << simplest;
    const QfnTest::BothWaysOutcome outcome = QfnTest::runWithAtOnce(true, simplest);
    EXPECT_TRUE(outcome.completed);
    EXPECT_EQ(outcome.value, "0");
    EXPECT_EQ(outcome.errors, 0u);
}

TEST(ScriptGenerator, ScriptsEndSmallUseEveryConstructAndAgreeBothWays)
{
    const int64_t before = Qfn::OMStored::getOMStoredCount();
    const std::vector<std::string> constructs = {
        "for (",   "while (", "do {",  "function f", "= function(", "function r", " else ", "break",
        "return",  "var l",   "tick(", "+=",         ".push(",      ".pop()",     "++",     "arguments",
        "output(", "substr",  "keys(", "stringify(", "[",           "{p: ",       " ? ",    "typeof "};
    std::vector<bool> seen(constructs.size(), false);
    std::mt19937 random(2024);
    int scriptsWithErrors = 0;
    for (int i = 0; i < 200; ++i) {
        const std::string script = generate(randomBytes(random, 64 + random() % 1500));
        for (size_t c = 0; c < constructs.size(); ++c)
            seen[c] = seen[c] || script.find(constructs[c]) != std::string::npos;
        // A generous budget: the generator keeps every script to a few thousand steps.
        const QfnTest::BothWaysOutcome fast = QfnTest::runWithAtOnce(true, script, 200, 5000);
        const QfnTest::BothWaysOutcome slow = QfnTest::runWithAtOnce(false, script, 200, 5000);
        ASSERT_TRUE(fast.parsed && fast.completed && slow.completed) << script;
        EXPECT_TRUE(fast.sameAs(slow)) << script << "\nat once:\n"
                                       << fast.describe() << "resumably:\n"
                                       << slow.describe();
        EXPECT_LT(fast.scope.size() + fast.output.size(), 100000u) << script;
        // Arrays and maps stay what they are, so that writes of their members succeed.
        for (const char* global : {"\"a0\": [", "\"a1\": [", "\"m0\": {", "\"m1\": {"})
            EXPECT_NE(fast.scope.find(global), std::string::npos) << global << " in " << fast.scope;
        scriptsWithErrors += fast.errors > 0 ? 1 : 0;
    }
    // An error ends a script: most must run to their end.
    EXPECT_LT(scriptsWithErrors, 200 / 3);
    for (size_t c = 0; c < constructs.size(); ++c)
        EXPECT_TRUE(seen[c]) << "never generated: " << constructs[c];
    EXPECT_EQ(Qfn::OMStored::getOMStoredCount(), before);
}

}  // namespace
