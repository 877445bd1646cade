// Scripts that recurse deeply: the coordinator's thread has the stack for the configured depth,
// and one call deeper fails with an error that names the limit, reported in a few lines.
#include <gtest/gtest.h>

#include <chrono>
#include <fstream>

#include "support/ProcessRunner.h"

using namespace std::chrono_literals;
using QfnTest::ProcessRunner;

namespace {

const char* const kSum = "function s(n) { return n == 0 ? 0 : 1 + s(n - 1) }\n";

size_t countLines(const std::string& text)
{
    size_t lines = 0;
    for (char c : text)
        lines += c == '\n';
    return lines;
}

}  // namespace

TEST(DeepRecursion, TheDefaultDepthOfAHundredThousandWorks)
{
    ProcessRunner process({QFN_BINARY_PATH, "-f", "script.qfl"});
    std::ofstream(process.directory() + "/script.qfl")
        << kSum << "output(s(100000), ' ', sysInfo().maxCallDepth)\n";
    ProcessRunner inFolder(
        {"/bin/sh", "-c", "cd \"$0\" && exec \"$1\" -f script.qfl", process.directory(), QFN_BINARY_PATH});
    ASSERT_TRUE(inFolder.start());
    ASSERT_TRUE(inFolder.waitForExit(100000ms)) << inFolder.standardError();
    EXPECT_EQ(inFolder.exitStatus(), 0);
    EXPECT_EQ(inFolder.standardOutput(), "100000 100000");
    EXPECT_EQ(inFolder.standardError(), "");
}

TEST(DeepRecursion, OneCallPastTheConfiguredLimitFailsInAFewLines)
{
    ProcessRunner process({QFN_BINARY_PATH, "-c", "limit.ini", "-f", "script.qfl"});
    std::ofstream(process.directory() + "/limit.ini") << "[config]\nmaxCallDepth=2000\n";
    // The recursion is made resumable (a loop in the body) so that every level reports its failure.
    std::ofstream(process.directory() + "/script.qfl")
        << "function r(n) { for (k = 0; k < 1; ++k) {}; return n == 0 ? 0 : 1 + r(n - 1) }\n"
        << "output(r(2000), ' ')\noutput(r(2001))\noutput(' after ', sysInfo().maxCallDepth)\n";
    ProcessRunner inFolder({"/bin/sh", "-c", "cd \"$0\" && exec \"$1\" -c limit.ini -f script.qfl",
                            process.directory(), QFN_BINARY_PATH});
    ASSERT_TRUE(inFolder.start());
    ASSERT_TRUE(inFolder.waitForExit(60000ms)) << inFolder.standardError();
    EXPECT_EQ(inFolder.exitStatus(), 0);
    // The failed call gives no value to print.
    EXPECT_EQ(inFolder.standardOutput(), "2000  after 2000");
    const std::string errors = inFolder.standardError();
    EXPECT_NE(errors.find("calls nested deeper than the limit maxCallDepth = 2000"), std::string::npos)
        << errors;
    // Every level going back out reports too: the repeats are counted, not written.
    EXPECT_NE(errors.find("more lines like the ones above were not written"), std::string::npos) << errors;
    EXPECT_LT(countLines(errors), 20u) << errors;
}

TEST(DeepRecursion, ALiteralNestedThirtyThousandDeepIsBuiltInLinearTime)
{
    // Each level of a literal used to look again at everything below it before being built.
    ProcessRunner process({QFN_BINARY_PATH, "-f", "script.qfl"});
    const size_t depth = 30000;
    std::ofstream(process.directory() + "/script.qfl")
        << "a = " << std::string(depth, '[') << "7" << std::string(depth, ']') << "\n"
        << "b = a; for (i = 0; i < " << depth << "; ++i) { b = b[0] }; output(b)\n";
    ProcessRunner inFolder(
        {"/bin/sh", "-c", "cd \"$0\" && exec \"$1\" -f script.qfl", process.directory(), QFN_BINARY_PATH});
    ASSERT_TRUE(inFolder.start());
    ASSERT_TRUE(inFolder.waitForExit(30000ms)) << inFolder.standardError();
    EXPECT_EQ(inFolder.exitStatus(), 0);
    EXPECT_EQ(inFolder.standardOutput(), "7");
    EXPECT_EQ(inFolder.standardError(), "");
}
