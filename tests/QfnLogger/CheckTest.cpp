#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "QfnLogger/Check.h"
#include "support/LogCapture.h"

namespace {

struct Base {
    virtual ~Base() = default;
};
struct Derived : Base {
    int value = 7;
};

// Counts how often a checked expression is evaluated.
struct Probe {
    int calls = 0;
    template <class T>
    T pass(T value)
    {
        ++calls;
        return value;
    }
};

// Each function returns 1 when the check left the block, 2 when the code after it ran.
int withSanityCheck(Probe& probe, bool ok)
{
    int retVal = 0;
    try {
        do {
            retVal = 1;
            SANITY_CHECK(probe.pass(ok) && ok == true);
            retVal = 2;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

int withVerify(Probe& probe, bool ok)
{
    int retVal = 1;
    try {
        do {
            VERIFY(probe.pass(ok));
            retVal = 2;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

int withExpected(Probe& probe, bool ok)
{
    int retVal = 1;
    try {
        do {
            EXPECTED(probe.pass(ok));
            retVal = 2;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

int withAssign(Probe& probe, const std::shared_ptr<Base>& source)
{
    int retVal = 1;
    try {
        do {
            std::shared_ptr<Base> found;
            ASSIGN(found, probe.pass(source));
            retVal = found == source ? 2 : 3;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

int withAssignTyped(Probe& probe, const std::shared_ptr<Base>& source)
{
    int retVal = 1;
    try {
        do {
            ASSIGN_TYPED(Derived, derived, probe.pass(source));
            retVal = derived->value == 7 ? 2 : 3;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

int withAssignConstTyped(Probe& probe, const std::shared_ptr<const Base>& source)
{
    int retVal = 1;
    try {
        do {
            ASSIGN_CONST_TYPED(Derived, derived, probe.pass(source));
            retVal = derived->value == 7 ? 2 : 3;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// The check leaves the for loop only; the result is set behind the loop.
int visitUntilNegative(const std::vector<int>& values, bool& ranAfterLoop)
{
    int retVal = -1;
    try {
        do {
            int visited = 0;
            for (int value : values) {
                SANITY_CHECK(value >= 0);
                ++visited;
            }
            ranAfterLoop = true;
            retVal = visited;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

template <class Throwable>
int throwing(const Throwable& thrown)
{
    int retVal = 0;
    try {
        do {
            retVal = 5;
            throw thrown;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

struct Outcome {
    int result;
    int calls;
};

// Runs every macro once with a passing and once with a failing expression.
std::vector<Outcome> runAllMacros(bool ok)
{
    auto derived = std::make_shared<Derived>();
    std::shared_ptr<Base> source = ok ? std::shared_ptr<Base>(derived) : std::make_shared<Base>();
    std::shared_ptr<Base> assignSource = ok ? source : nullptr;
    std::vector<Outcome> outcomes;
    auto record = [&](auto run) {
        Probe probe;
        int result = run(probe);
        outcomes.push_back({result, probe.calls});
    };
    record([&](Probe& p) { return withSanityCheck(p, ok); });
    record([&](Probe& p) { return withVerify(p, ok); });
    record([&](Probe& p) { return withAssign(p, assignSource); });
    record([&](Probe& p) { return withAssignTyped(p, source); });
    record([&](Probe& p) { return withAssignConstTyped(p, source); });
    return outcomes;
}

}  // namespace

TEST(CheckMacros, FailingChecksWriteTheirSourceTextAndLeaveTheBlock)
{
    QfnTest::LogCapture capture(4);
    std::vector<Outcome> outcomes = runAllMacros(false);
    for (const Outcome& outcome : outcomes) {
        EXPECT_EQ(outcome.result, 1);
        EXPECT_EQ(outcome.calls, 1);
    }
    const std::vector<std::string> expected = {
        "SANITY_CHECK failed: 'probe.pass(ok) && ok == true' evaluates to false",
        "VERIFY failed: 'probe.pass(ok)' evaluates to false",
        "ASSIGN failed: 'found = probe.pass(source);'",
        "ASSIGN_TYPED failed: 'Derived derived = probe.pass(source);'",
        "ASSIGN_CONST_TYPED failed: 'Derived derived = probe.pass(source);'",
    };
    const std::vector<std::string> functions = {"withSanityCheck(", "withVerify(", "withAssign(",
                                                "withAssignTyped(", "withAssignConstTyped("};
    ASSERT_EQ(capture.lines().size(), expected.size());
    for (size_t i = 0; i < expected.size(); ++i) {
        const std::string& line = capture.lines()[i];
        EXPECT_NE(line.find(" ERROR: in "), std::string::npos) << line;
        EXPECT_NE(line.find(functions[i]), std::string::npos) << line;
        EXPECT_TRUE(line.size() > expected[i].size() &&
                    line.compare(line.size() - expected[i].size(), std::string::npos, expected[i]) == 0)
            << line;
    }
}

TEST(CheckMacros, PassingChecksEvaluateOnceAndGoOnSilently)
{
    QfnTest::LogCapture capture(4);
    for (const Outcome& outcome : runAllMacros(true)) {
        EXPECT_EQ(outcome.result, 2);
        EXPECT_EQ(outcome.calls, 1);
    }
    EXPECT_TRUE(capture.lines().empty());
}

TEST(CheckMacros, ExpectedWarnsAndContinues)
{
    QfnTest::LogCapture capture(2);
    Probe probe;
    EXPECT_EQ(withExpected(probe, false), 2);
    EXPECT_EQ(probe.calls, 1);
    ASSERT_EQ(capture.lines().size(), 1u);
    EXPECT_NE(capture.lines()[0].find(" WARN : in "), std::string::npos);
    EXPECT_TRUE(capture.hasLineEndingWith("EXPECTED failed: 'probe.pass(ok)' evaluates to false"));

    capture.clear();
    Qfn::Log::setLogLevel(1);
    EXPECT_EQ(withExpected(probe, false), 2);
    EXPECT_TRUE(capture.lines().empty());
}

TEST(CheckMacros, CheckInsideALoopLeavesOnlyThatLoop)
{
    QfnTest::LogCapture capture(1);
    bool ranAfterLoop = false;
    EXPECT_EQ(visitUntilNegative({4, 5, -1, 6}, ranAfterLoop), 2);
    EXPECT_TRUE(ranAfterLoop);
    EXPECT_TRUE(capture.hasLineEndingWith("SANITY_CHECK failed: 'value >= 0' evaluates to false"));
}

TEST(CheckMacros, LevelZeroKeepsControlFlowWithoutWriting)
{
    QfnTest::LogCapture capture(0);
    for (const Outcome& outcome : runAllMacros(false)) {
        EXPECT_EQ(outcome.result, 1);
        EXPECT_EQ(outcome.calls, 1);
    }
    Probe probe;
    EXPECT_EQ(withExpected(probe, false), 2);
    EXPECT_EQ(throwing(std::runtime_error("x")), 5);
    EXPECT_TRUE(capture.lines().empty());
}

TEST(CheckMacros, HandlerReportsTheExceptionAndReturnsTheResultLocal)
{
    QfnTest::LogCapture capture(1);
    EXPECT_EQ(throwing(std::runtime_error("x")), 5);
    EXPECT_EQ(throwing(std::runtime_error("")), 5);
    ASSERT_EQ(capture.lines().size(), 2u);
    EXPECT_NE(capture.lines()[0].find(" ERROR: in "), std::string::npos);
    EXPECT_NE(capture.lines()[0].find("throwing("), std::string::npos);
    EXPECT_TRUE(capture.lines()[0].ends_with(" throws x")) << capture.lines()[0];
    EXPECT_TRUE(capture.lines()[1].ends_with(" throws Unknown exception")) << capture.lines()[1];

    // Only std::exception is caught: anything else passes through.
    EXPECT_THROW(throwing(42), int);
}
