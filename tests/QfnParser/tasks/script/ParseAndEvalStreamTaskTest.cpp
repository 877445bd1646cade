#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "QfnCoordinator/InternalCoordinator.h"
#include "QfnParser/streams/IOStreamPrompted.h"
#include "QfnParser/streams/InputStreamString.h"
#include "QfnParser/model/OMStored.h"
#include "QfnParser/streams/OutputStreamString.h"
#include "QfnTask/AsyncIOType.h"
#include "QfnParser/tasks/script/ParseAndEvalStreamTask.h"
#include "support/LogCapture.h"

using Qfn::InputStreamString;
using Qfn::OMStored;
using Qfn::OutputStreamString;
using Qfn::ParseAndEvalStreamTask;
using Qfn::Task;

namespace {

// Runs the loop over the text on a prompted stream, a slice at a time, and gives what it wrote,
// prompts included. The text ends once the prompted stream has taken all of it; until then a
// prompted reader waits out its slice, so the slices are short.
std::string runPrompted(const std::string& text, bool& retVal)
{
    auto input = InputStreamString::factory(text);
    auto output = OutputStreamString::factory();
    auto prompted = Qfn::IOStreamPrompted::factory(input, output);
    auto task = ParseAndEvalStreamTask::factory(OMStored::undefinedFactory(),
                                                Qfn::InternalCoordinator::scopeFactory(), prompted);
    EXPECT_TRUE(task);
    if (!task) return "";
    for (int slice = 0; slice < 1000 && !task->getIsTaskCompleted(); ++slice) {
        EXPECT_TRUE(task->runTimeslice(2000));
        if (input->getPos() == text.size()) input->setEOF();
    }
    EXPECT_TRUE(task->getIsTaskCompleted());
    retVal = task->getRetValBool();
    if (!task->getIsTaskCompleted()) Task::deregisterTask(task->getTaskId());
    return output->getAndClearBuffer();
}

// Says "nothing yet" for ever, like a console nobody types at.
class SilentStream : public InputStreamString {
public:
    static std::shared_ptr<SilentStream> factory()
    {
        return std::shared_ptr<SilentStream>(new SilentStream());
    }
    int getChar() override { return fIsAtEOF ? kEndOfInput : kNothingYet; }

private:
    SilentStream() : InputStreamString(std::string()) {}
};

}  // namespace

TEST(ParseAndEvalStreamTask, EvaluatesEachExpressionAsItIsCompleteAndPrintsItsValue)
{
    const int64_t before = OMStored::getOMStoredCount();
    bool retVal = false;
    std::string written = runPrompted("a = 2; b = a * 3\nb + 1\n", retVal);
    EXPECT_TRUE(retVal);
    size_t two = written.find("2\n");
    size_t six = written.find("6\n");
    size_t seven = written.find("7\n");
    ASSERT_NE(two, std::string::npos) << written;
    ASSERT_NE(six, std::string::npos) << written;
    ASSERT_NE(seven, std::string::npos) << written;
    EXPECT_LT(two, six);
    EXPECT_LT(six, seven);
    EXPECT_EQ(before, OMStored::getOMStoredCount());
}

TEST(ParseAndEvalStreamTask, DropsALineThatDoesNotParseAndGoesOn)
{
    QfnTest::LogCapture capture(1);
    bool retVal = false;
    std::string written = runPrompted("1 +* 2\n40 + 2\n)\n5\n", retVal);
    EXPECT_TRUE(retVal);
    EXPECT_EQ(capture.countContaining("parsing failed"), 2u);
    EXPECT_NE(written.find("42\n"), std::string::npos) << written;
    EXPECT_NE(written.find("5\n"), std::string::npos) << written;
}

TEST(ParseAndEvalStreamTask, ExitEndsTheStreamOfAWaitingTask)
{
    auto stream = SilentStream::factory();
    auto task = ParseAndEvalStreamTask::factory(OMStored::undefinedFactory(),
                                                Qfn::InternalCoordinator::scopeFactory(), stream);
    ASSERT_TRUE(task);
    task->pushInteractionLevel(Qfn::AsyncIOType::Async);
    for (int slice = 0; slice < 3; ++slice)
        ASSERT_TRUE(task->runTimeslice(1000000));
    EXPECT_FALSE(task->getIsTaskCompleted());
    EXPECT_TRUE(task->getIsWaitingForInput());

    task->exit();
    EXPECT_TRUE(stream->atEOF());
    for (int slice = 0; slice < 3 && !task->getIsTaskCompleted(); ++slice)
        ASSERT_TRUE(task->runTimeslice(1000000));
    EXPECT_TRUE(task->getIsTaskCompleted());
    EXPECT_TRUE(task->getRetValBool());
    if (!task->getIsTaskCompleted()) Task::deregisterTask(task->getTaskId());
}

TEST(ParseAndEvalStreamTask, FactoryNeedsStoredAndScope)
{
    QfnTest::LogCapture capture(1);
    EXPECT_FALSE(ParseAndEvalStreamTask::factory(nullptr, Qfn::InternalCoordinator::scopeFactory(), nullptr));
    EXPECT_FALSE(ParseAndEvalStreamTask::factory(OMStored::undefinedFactory(), nullptr, nullptr));
    EXPECT_TRUE(capture.hasLineEndingWith("SANITY_CHECK failed: 'stored' evaluates to false"));
    EXPECT_TRUE(capture.hasLineEndingWith("SANITY_CHECK failed: 'scope' evaluates to false"));
}
