// What a script sends to its console with stdOut and stdErr arrives as messages, and is printed
// by the coordinator on its own streams, in the order the script wrote it.
#include <gtest/gtest.h>

#include <chrono>
#include <fstream>

#include "support/ProcessRunner.h"

using namespace std::chrono_literals;
using QfnTest::ProcessRunner;

TEST(ConsoleMessages, StdOutAndStdErrPrintOnTheCoordinatorsStreams)
{
    ProcessRunner folder({QFN_BINARY_PATH});
    const std::string path = folder.directory() + "/x.qfl";
    std::ofstream(path) << "stdOut(\"a\"); stdErr(\"b\"); output(\"c\")\n"
                           "for (i = 0; i < 3; ++i) { stdOut(i); output('-') }\n"
                           "stdOut({k: [1, 'two']})\n";
    ProcessRunner run({QFN_BINARY_PATH, "-f", path});
    ASSERT_TRUE(run.start());
    ASSERT_TRUE(run.waitForExit(20000ms)) << run.standardError();
    EXPECT_EQ(run.exitStatus(), 0);
    EXPECT_EQ(run.standardOutput(), "ac0-1-2-{ \"k\": [1, \"two\"] }");
    EXPECT_EQ(run.standardError(), "b") << "nothing but the text: no error, no object left at the end";
}
