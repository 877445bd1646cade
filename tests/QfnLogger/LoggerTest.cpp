#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <ctime>
#include <fstream>
#include <string>
#include <vector>

#include "QfnLogger/Log.h"
#include "QfnLogger/Logger.h"
#include "support/LogCapture.h"

using ::testing::MatchesRegex;

namespace {

const char* const kFunction = "void caller(int)";
const std::string kDate = "[0-9]{2}-[0-9]{2}-[0-9]{4} [0-9]{2}:[0-9]{2}:[0-9]{2}";

std::string tempPath(const std::string& name)
{
    return testing::TempDir() + "qfn_" + name + "_" + std::to_string(::getpid());
}

std::vector<std::string> readLines(const std::string& path)
{
    std::vector<std::string> lines;
    std::ifstream in(path);
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

std::string localStamp(std::time_t when)
{
    std::tm local{};
    localtime_r(&when, &local);
    char buffer[32];
    return std::string(buffer, std::strftime(buffer, sizeof(buffer), "%d-%m-%Y %H:%M:%S", &local));
}

// Sends timing lines to a fresh file and restores standard error and timing off afterwards.
struct TimingFile {
    std::string path = tempPath("timing.log");
    TimingFile()
    {
        std::remove(path.c_str());
        Qfn::Log::setTimingLogFile(path);
    }
    ~TimingFile()
    {
        Qfn::Log::setIsLogTiming(false);
        Qfn::Log::setTimingLogFile("");
        std::remove(path.c_str());
    }
};

// Listeners cannot be removed; these record only while a test listens.
bool isListening = false;
std::vector<std::string> heard;
template <int N>
void numberedListener(const std::string& line)
{
    if (isListening) heard.push_back(std::to_string(N) + " " + line);
}

}  // namespace

TEST(LoggerLine, DateTagFunctionAndMessage)
{
    QfnTest::LogCapture capture(1);
    std::time_t before = std::time(nullptr);
    Qfn::Log::logError("file.cpp", 17, kFunction, "it broke");
    std::time_t after = std::time(nullptr);

    ASSERT_EQ(capture.lines().size(), 1u);
    const std::string& line = capture.lines()[0];
    EXPECT_THAT(line, MatchesRegex(kDate + R"( ERROR: in void caller\(int\) it broke)"));
    std::string stamp = line.substr(0, 19);
    EXPECT_TRUE(stamp == localStamp(before) || stamp == localStamp(after)) << stamp;
}

TEST(LoggerLevels, EachLevelAddsItsTag)
{
    const std::vector<std::string> tags = {"ERROR", "WARN ", "NOTE ", "TRACE"};
    for (int level = 0; level <= 4; ++level) {
        QfnTest::LogCapture capture(level);
        Qfn::Log::logError("f", 1, kFunction, "m");
        Qfn::Log::logWarning("f", 1, kFunction, "m");
        Qfn::Log::logNote("f", 1, kFunction, "m");
        Qfn::Log::logTrace("f", 1, kFunction, "m");
        ASSERT_EQ(capture.lines().size(), static_cast<size_t>(level)) << "level " << level;
        for (int i = 0; i < level; ++i) {
            EXPECT_NE(capture.lines()[i].find(" " + tags[i] + ": in void caller(int) m"), std::string::npos)
                << capture.lines()[i];
        }
    }
}

TEST(LoggerListeners, CalledInOrderWithTheLineWithoutNewline)
{
    static bool installed = false;
    if (!installed) {
        Qfn::Log::addLogListener(numberedListener<1>);
        Qfn::Log::addLogListener(nullptr);
        Qfn::Log::addLogListener(numberedListener<2>);
        installed = true;
    }
    QfnTest::LogCapture capture(1);
    heard.clear();
    isListening = true;
    Qfn::Log::logError("f", 1, kFunction, "to all");
    isListening = false;

    ASSERT_EQ(capture.lines().size(), 1u);
    const std::string& line = capture.lines()[0];
    EXPECT_EQ(line.find('\n'), std::string::npos);
    EXPECT_EQ(heard, (std::vector<std::string>{"1 " + line, "2 " + line}));
}

TEST(LoggerFile, EachCallAppendsOneLine)
{
    std::string path = tempPath("append.log");
    std::ofstream(path) << "earlier\n";
    {
        QfnTest::LogCapture capture(1);
        Qfn::Log::setLogFile(path);
        Qfn::Log::logError("f", 1, kFunction, "one");
        EXPECT_EQ(readLines(path).size(), 2u);  // on disk when the call returns
        Qfn::Log::logError("f", 1, kFunction, "two");
        ASSERT_EQ(capture.lines().size(), 2u);
        EXPECT_EQ(readLines(path),
                  (std::vector<std::string>{"earlier", capture.lines()[0], capture.lines()[1]}));

        // A file that cannot be opened loses the line, the listeners still get it.
        Qfn::Log::setLogFile(testing::TempDir() + "no_such_dir/qfn.log");
        Qfn::Log::logError("f", 1, kFunction, "three");
        EXPECT_TRUE(capture.hasLineEndingWith(" three"));
    }
    std::remove(path.c_str());
}

TEST(LoggerSwitches, EntryExitCannotBeSwitchedOn)
{
    QfnTest::LogCapture capture(4);
    Qfn::Log::setIsLogEntryExit(true);
    ASSERT_EQ(capture.lines().size(), 1u);
    EXPECT_NE(capture.lines()[0].find(" ERROR: in "), std::string::npos);
    EXPECT_TRUE(capture.hasLineEndingWith(
        " code is not instrumented with entry/exit code. Change ADD_LOG_ENTRY_EXIT_CODE and recompile."));
    Qfn::Log::logEntry("f", 1, kFunction);
    Qfn::Log::logExit("f", 1, kFunction);
    Qfn::Log::setIsLogEntryExit(false);
    EXPECT_EQ(capture.lines().size(), 1u);
}

TEST(LoggerSwitches, TimingWarnsOnceAndEnablesTimingLines)
{
    TimingFile timing;
    QfnTest::LogCapture capture(2);
    Qfn::Log::logTiming("f", 1, kFunction, "off", -1, 1);
    Qfn::Log::setIsLogTiming(true);
    ASSERT_EQ(capture.lines().size(), 1u);
    EXPECT_NE(capture.lines()[0].find(" WARN : in "), std::string::npos);
    EXPECT_TRUE(capture.hasLineEndingWith(" EXPECTED failed: '! isLogTiming' evaluates to false"));
    EXPECT_TRUE(Qfn::Log::getIsLogTiming());

    Qfn::Log::logTiming("f", 1, kFunction, "on", -1, 1);
    Qfn::Log::setIsLogTiming(false);
    Qfn::Log::logTiming("f", 1, kFunction, "off again", -1, 1);
    EXPECT_EQ(capture.lines().size(), 1u);
    std::vector<std::string> lines = readLines(timing.path);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_TRUE(lines[0].ends_with(": start (on)")) << lines[0];
}

TEST(LoggerTiming, StartAndElapsedLinesPutSecondBeforeFirst)
{
    TimingFile timing;
    auto logger = Qfn::Logger::getLogger();
    ASSERT_TRUE(logger);
    logger->logTimingLine("f", 1, kFunction, "load", -1, 12);
    logger->logTimingLine("f", 1, kFunction, "load", 250, 1000);

    std::vector<std::string> lines = readLines(timing.path);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_THAT(lines[0],
                MatchesRegex("        12 {12}" + kDate + R"(: in void caller\(int\): start \(load\))"));
    EXPECT_THAT(lines[1], MatchesRegex("      1000        250 " + kDate +
                                       R"(: in void caller\(int\): elapsed \(load\))"));
}

TEST(LoggerTiming, ColumnsAreTenWideAndBlankWhenNegative)
{
    EXPECT_EQ(Qfn::Logger::timingColumn(0), "         0");
    EXPECT_EQ(Qfn::Logger::timingColumn(-7), std::string(10, ' '));
    // The widest signed 32-bit value fills the column exactly.
    EXPECT_EQ(Qfn::Logger::timingColumn(2147483647), "2147483647");
}

TEST(LoggerHolding, HeldLinesWaitThenGoInOrderOrAreDropped)
{
    QfnTest::LogCapture capture(2);
    Qfn::Log::holdLines();
    Qfn::Log::logError("f", 1, kFunction, "first");
    Qfn::Log::logWarning("f", 2, kFunction, "second");
    EXPECT_TRUE(capture.lines().empty());
    Qfn::Log::releaseHeldLines(true);
    ASSERT_EQ(capture.lines().size(), 2u);
    EXPECT_TRUE(capture.hasLineEndingWith("first"));
    EXPECT_NE(capture.lines()[1].find("second"), std::string::npos);

    capture.clear();
    Qfn::Log::holdLines();
    Qfn::Log::logError("f", 3, kFunction, "dropped");
    Qfn::Log::releaseHeldLines(false);
    Qfn::Log::logError("f", 4, kFunction, "after");
    ASSERT_EQ(capture.lines().size(), 1u);
    EXPECT_TRUE(capture.hasLineEndingWith("after"));
}
