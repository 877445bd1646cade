// Fails every test in which an error line was logged that the test did not provoke on purpose,
// that is outside a LogCapture. Tests run with errors logged (level 1) to /dev/null.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "QfnLogger/Log.h"
#include "support/LogCapture.h"

namespace QfnTest {

namespace {

std::vector<std::string>& unexpectedLines()
{
    static std::vector<std::string> lines;
    return lines;
}

void noteLine(const std::string& line)
{
    if (!LogCapture::isActive() && line.find(" ERROR: ") != std::string::npos)
        unexpectedLines().push_back(line);
}

class UnexpectedErrorLines : public testing::EmptyTestEventListener {
    void OnTestStart(const testing::TestInfo&) override
    {
        static bool installed = false;
        if (!installed) {
            Qfn::Log::addLogListener(noteLine);
            installed = true;
        }
        unexpectedLines().clear();
        Qfn::Log::setLogFile("/dev/null");
        Qfn::Log::setLogLevel(1);
    }

    void OnTestEnd(const testing::TestInfo&) override
    {
        std::string text;
        for (const std::string& line : unexpectedLines())
            text += "\n  " + line;
        EXPECT_TRUE(unexpectedLines().empty()) << "error lines the test did not expect:" << text;
        unexpectedLines().clear();
    }
};

const bool kInstalled = [] {
    testing::UnitTest::GetInstance()->listeners().Append(new UnexpectedErrorLines);
    return true;
}();

}  // namespace

}  // namespace QfnTest
