#include "support/BothWays.h"

#include <gtest/gtest.h>

namespace QfnTest {

std::vector<std::string> expectSameBothWays(const std::vector<std::string>& scripts)
{
    std::vector<std::string> values;
    for (const std::string& script : scripts) {
        const BothWaysOutcome fast = runWithAtOnce(true, script);
        const BothWaysOutcome slow = runWithAtOnce(false, script);
        EXPECT_EQ(fast.value, slow.value) << script;
        EXPECT_EQ(fast.scope, slow.scope) << script;
        EXPECT_EQ(fast.output, slow.output) << script;
        EXPECT_EQ(fast.errors, slow.errors) << script;
        values.push_back(fast.value);
    }
    return values;
}

}  // namespace QfnTest
