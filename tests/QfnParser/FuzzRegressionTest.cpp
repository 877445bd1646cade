// Inputs that once broke the parser or evaluator, found by the fuzzer or written after its
// findings: each must end without a crash or a leak, and what parses must print as text that
// parses back to an equal tree.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "QfnParser/expressions/OMExpression.h"
#include "QfnParser/model/OMStored.h"
#include "QfnParser/tasks/script/ParseTask.h"
#include "QfnTask/Task.h"
#include "support/LogCapture.h"
#include "support/ScriptRunner.h"

TEST(FuzzRegression, EachFoundInputEndsCleanlyAndRoundTrips)
{
    const auto folder = std::filesystem::path(__FILE__).parent_path() / "fuzz-regressions";
    const int64_t before = Qfn::OMStored::getOMStoredCount();
    int inputs = 0;
    QfnTest::LogCapture quiet(0);
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        ++inputs;
        SCOPED_TRACE(entry.path().filename().string());
        std::ifstream file(entry.path(), std::ios::binary);
        std::ostringstream text;
        text << file.rdbuf();
        QfnTest::ScriptResult result = QfnTest::runScriptBounded(text.str(), 50, 2000);
        if (!result.parsed) continue;
        const std::string printed = Qfn::OMExpression::nodeSourceText(result.tree);
        auto again = Qfn::OMStored::undefinedFactory();
        ASSERT_TRUE(Qfn::ParseTask::call(again, printed)) << printed;
        EXPECT_TRUE(Qfn::OMExpression::nodesEqual(result.tree, again)) << printed;
    }
    EXPECT_GE(inputs, 5);
    Qfn::Task::deregisterAllTasks();
    EXPECT_EQ(Qfn::OMStored::getOMStoredCount(), before);
}
