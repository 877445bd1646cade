// The log service writes what LOG_* messages carry to its file, each line with a time stamp.
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

#include "QfnService/ServiceLog.h"
#include "support/LogCapture.h"
#include "support/MessagingFixture.h"

using Qfn::OpCode;

namespace {

std::string fileText(const std::string& path)
{
    std::ifstream file(path);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

}  // namespace

using ServiceLogMessages = QfnTest::MessagingFixture;

TEST_F(ServiceLogMessages, LogOpcodesAreWrittenAndOthersRefused)
{
    auto serviceLog = std::dynamic_pointer_cast<Qfn::ServiceLog>(Qfn::ServiceLog::factory());
    ASSERT_TRUE(serviceLog);
    const std::string path = ::testing::TempDir() + "service-log-" + std::to_string(::getpid()) + ".log";
    ASSERT_TRUE(serviceLog->pushState(path));
    for (OpCode opCode : {OpCode::LOG_TRACE, OpCode::LOG_NOTE, OpCode::LOG_WARNING, OpCode::LOG_ERROR})
        ASSERT_TRUE(send("qfn:////net.quillfern.service.log", opCode, "line " + std::to_string(int(opCode))));
    {
        QfnTest::LogCapture capture(1);
        ASSERT_TRUE(send("qfn:////net.quillfern.service.log/0", OpCode::PING, "{}"));
        ASSERT_TRUE(runUntilQuiet());
        EXPECT_EQ(capture.countContaining("unexpected opcode"), 1u);
    }
    const std::string text = fileText(path);
    for (int n = 4; n <= 7; ++n)
        EXPECT_NE(text.find(" line " + std::to_string(n) + "\n"), std::string::npos) << text;
    EXPECT_EQ(text.find("{}"), std::string::npos) << "a ping is not logged";
    EXPECT_TRUE(fClient->fReceived.empty()) << "the log service answers nothing";
    std::remove(path.c_str());

    EXPECT_TRUE(serviceLog->popState());
    EXPECT_NE(serviceLog->getLogFilePath(), path);
    EXPECT_TRUE(QfnTest::logsError("SANITY_CHECK failed: '! fStateStack.empty()' evaluates to false",
                                   [&] { EXPECT_FALSE(serviceLog->popState()); }));
}
