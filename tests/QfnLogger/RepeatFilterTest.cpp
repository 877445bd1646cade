#include "QfnLogger/RepeatFilter.h"

#include <gtest/gtest.h>

#include <string>

using Qfn::RepeatFilter;

// A cascade of three lines repeated level after level: each is written twice, the rest counted
// and told once, with the tag of the first held back; a new line starts afresh.
TEST(RepeatFilter, ACascadeIsWrittenTwiceAndCountedAfterwards)
{
    RepeatFilter filter;
    std::string tag;
    size_t written = 0;
    for (int level = 0; level < 1000; ++level) {
        written += filter.admit("ERROR: in f check 'a' failed");
        written += filter.admit("ERROR: in g check 'b' failed");
        written += filter.admit("WARN : in h something");
    }
    EXPECT_EQ(written, 6u);
    EXPECT_EQ(filter.takeHeldBack(tag), 2994u);
    EXPECT_EQ(tag, "ERROR");
    EXPECT_EQ(filter.takeHeldBack(tag), 0u);

    // Lines that differ are all written, also when more of them come than the window holds.
    for (int i = 0; i < 3 * static_cast<int>(RepeatFilter::kWindow); ++i)
        EXPECT_TRUE(filter.admit("NOTE : line " + std::to_string(i)));
    // A line that has left the window is new again.
    EXPECT_TRUE(filter.admit("ERROR: in f check 'a' failed"));
    EXPECT_TRUE(filter.admit("ERROR: in f check 'a' failed"));
    EXPECT_FALSE(filter.admit("ERROR: in f check 'a' failed"));
    EXPECT_EQ(filter.takeHeldBack(tag), 1u);
}
