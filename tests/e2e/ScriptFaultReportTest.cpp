// Run-time failures a person caused are told on standard error as FILE:LINE:COLUMN: message, with
// the line and a caret, once per statement; the script goes on with Error as the value.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>

#include "support/ProcessRunner.h"

using namespace std::chrono_literals;
using QfnTest::ProcessRunner;

namespace {

// The lines of standard error that people read: everything but the log's dated lines.
std::string reports(const std::string& errors)
{
    std::string retVal;
    size_t start = 0;
    while (start < errors.size()) {
        size_t end = errors.find('\n', start);
        if (end == std::string::npos) end = errors.size() - 1;
        const std::string line = errors.substr(start, end - start + 1);
        const bool isLogLine = line.size() > 20 && line[2] == '-' && line[5] == '-' && line[10] == ' ';
        if (!isLogLine) retVal += line;
        start = end + 1;
    }
    return retVal;
}

}  // namespace

TEST(ScriptFaultReport, EachFaultSaysWhatAndWhere)
{
    ProcessRunner process({QFN_BINARY_PATH, "-f", "faults.qfl"});
    const std::string path = process.directory() + "/faults.qfl";
    std::ofstream(path) << "x = foo + 1; output(typeof(x), ';')\n"
                           "n = 3;\n"
                           "  n(2)\n"
                           "y = [1]; y.z.w = 3\n"
                           "readFile('no-such-file.txt')\n"
                           "function f(k) { return k + missing }\n"
                           "output(f(1), ';')\n"
                           "for (i = 0; i < 1000; ++i) { q = unknownInLoop }\n"
                           "eval('zz')\n"
                           "output('fine')\n";
    ProcessRunner run({QFN_BINARY_PATH, "-f", path});
    ASSERT_TRUE(run.start());
    ASSERT_TRUE(run.waitForExit(20000ms)) << run.standardError();
    EXPECT_EQ(run.exitStatus(), 0);
    EXPECT_EQ(run.standardOutput(), "error;error;fine");
    // A fault inside a function is shown where the function's text is; one in a loop once; one in
    // text evaluated by eval at the statement that called it; a statement that works says nothing.
    const std::string expected = path +
                                 ":1:5: unknown name: foo\n"
                                 "x = foo + 1; output(typeof(x), ';')\n"
                                 "    ^\n" +
                                 path + ":3:3: not a function: n\n  n(2)\n  ^\n" + path +
                                 ":4:14: cannot write y.z.w\ny = [1]; y.z.w = 3\n             ^\n" + path +
                                 ":5:1: readFile: cannot read " + process.directory() +
                                 "/no-such-file.txt\nreadFile('no-such-file.txt')\n^\n" + path +
                                 ":6:28: unknown name: missing\n"
                                 "function f(k) { return k + missing }\n"
                                 "                           ^\n" +
                                 path +
                                 ":8:34: unknown name: unknownInLoop\n"
                                 "for (i = 0; i < 1000; ++i) { q = unknownInLoop }\n"
                                 "                                 ^\n" +
                                 path + ":9:1: unknown name: zz\neval('zz')\n^\n";
    EXPECT_EQ(reports(run.standardError()), expected) << run.standardError();
}

TEST(ScriptFaultReport, StandardInputAndTheFirstFaultOfAStatement)
{
    ProcessRunner typed({QFN_BINARY_PATH, "-I"});
    typed.setStandardInput("a = 1\nb = nope1 + nope2\n");
    ASSERT_TRUE(typed.start());
    ASSERT_TRUE(typed.waitForExit(10000ms)) << typed.standardError();
    EXPECT_EQ(reports(typed.standardError()), "<stdin>:2:5: unknown name: nope1\nb = nope1 + nope2\n    ^\n")
        << typed.standardError();
}

// A function that replaces itself while its call runs keeps the names of that call alive.
TEST(ScriptFaultReport, EveryCorpusScriptRunsThroughTheBinary)
{
    size_t count = 0;
    const std::filesystem::path corpus = std::filesystem::path(QFN_SOURCE_DIR) / "tests/QfnParser/corpus";
    for (const auto& file : std::filesystem::directory_iterator(corpus)) {
        if (file.path().extension() != ".qfl") continue;
        ++count;
        ProcessRunner run({QFN_BINARY_PATH, "-f", file.path().string()});
        ASSERT_TRUE(run.start());
        ASSERT_TRUE(run.waitForExit(20000ms)) << file.path();
        EXPECT_TRUE(run.exitedNormally()) << file.path();
        EXPECT_EQ(run.exitStatus(), 0) << file.path() << run.standardError();
        EXPECT_EQ(run.standardError().find("getObjectCount"), std::string::npos) << run.standardError();
    }
    EXPECT_GE(count, 30u);
}
