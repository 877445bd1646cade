// Running a script one way: the outcome holds what output() wrote, tells a run that did not end
// within its budget, and two outcomes differ in any of their parts.
#include <gtest/gtest.h>

#include "support/BothWaysRun.h"

namespace {

TEST(BothWaysRun, CollectsTheOutputAndComparesEveryPart)
{
    const QfnTest::BothWaysOutcome fast = QfnTest::runWithAtOnce(true, "output('a', 1); x = 2");
    const QfnTest::BothWaysOutcome slow = QfnTest::runWithAtOnce(false, "output('a', 1); x = 2");
    EXPECT_TRUE(fast.parsed && fast.completed);
    EXPECT_EQ(fast.output, "a1");
    EXPECT_EQ(fast.value, "2");
    EXPECT_EQ(fast.errors, 0u);
    EXPECT_TRUE(fast.sameAs(slow));
    QfnTest::BothWaysOutcome other = fast;
    other.output = "a2";
    EXPECT_FALSE(fast.sameAs(other));
    other = fast;
    other.errors = 1;
    EXPECT_FALSE(fast.sameAs(other));
    EXPECT_NE(fast.describe().find("output: a1"), std::string::npos) << fast.describe();
}

TEST(BothWaysRun, AScriptStillRunningAtTheEndOfItsBudgetHasNotCompleted)
{
    const QfnTest::BothWaysOutcome endless =
        QfnTest::runWithAtOnce(false, "i = 0; while (true) { ++i }", 3, 1000);
    EXPECT_TRUE(endless.parsed);
    EXPECT_FALSE(endless.completed);
    EXPECT_EQ(endless.describe(), "  did not end within its budget\n");
    const QfnTest::BothWaysOutcome unparsed = QfnTest::runWithAtOnce(true, "x = (1 +", 3, 1000);
    EXPECT_FALSE(unparsed.parsed);
}

}  // namespace
