#include <gtest/gtest.h>

#include <deque>
#include <memory>
#include <string>

#include "QfnCoordinator/InternalCoordinator.h"
#include "QfnParser/streams/IOStreamPrompted.h"
#include "QfnParser/streams/InputStreamConsole.h"
#include "QfnParser/streams/InputStreamString.h"
#include "QfnParser/model/OMStored.h"
#include "QfnParser/streams/OutputStreamString.h"
#include "QfnTask/AsyncIOType.h"
#include "QfnTask/CallYieldingTask.h"
#include "support/LogCapture.h"

using Qfn::CallYieldingTask;
using Qfn::InputStreamString;
using Qfn::IOStreamPrompted;
using Qfn::OutputStreamString;
using Qfn::Task;

namespace {

// The console with keys that the test types instead of a keyboard.
class TypedConsole : public Qfn::InputStreamConsole {
public:
    explicit TypedConsole(int mode) { setMode(mode); }
    void type(const std::string& keys)
    {
        for (unsigned char key : keys)
            fKeys.push_back(key);
    }

protected:
    int pollKey() override
    {
        if (fKeys.empty()) return kNothingYet;
        int key = fKeys.front();
        fKeys.pop_front();
        return key;
    }

private:
    std::deque<int> fKeys;
};

int readChar(const std::shared_ptr<IOStreamPrompted>& stream)
{
    int c = 0;
    bool completed = CallYieldingTask::run(
        "read", [&](const std::shared_ptr<Task>& task) { stream->getChar_yielding(task, c); });
    return completed ? c : -100;
}

std::string readLine(const std::shared_ptr<IOStreamPrompted>& stream)
{
    std::string line;
    CallYieldingTask::run("readLine",
                          [&](const std::shared_ptr<Task>& task) { stream->readLine_yielding(task, line); });
    return line;
}

}  // namespace

TEST(IOStreamPromptedReading, LinesAreReadCharacterWiseWithPositions)
{
    auto stream =
        IOStreamPrompted::factory(InputStreamString::factory("ab\ncd"), OutputStreamString::factory());
    ASSERT_TRUE(stream);
    std::string seen;
    for (int c = readChar(stream); c >= 0; c = readChar(stream)) {
        seen.push_back(static_cast<char>(c));
        if (c == 'c') {
            EXPECT_EQ(stream->getPos(), 3u);
            // The previous line is gone.
            EXPECT_TRUE(QfnTest::logsError("VERIFY failed", [&] { EXPECT_FALSE(stream->setPos(2)); }));
            stream->advance();
            ASSERT_TRUE(stream->setPos(3));
            EXPECT_EQ(readChar(stream), 'c');
        }
        stream->advance();
    }
    EXPECT_EQ(seen, "ab\ncd");
    EXPECT_EQ(stream->getPos(), 5u);
}

TEST(IOStreamPromptedReading, FedStringGivesNothingYetUntilItEnds)
{
    auto input = InputStreamString::factory("");
    auto stream = IOStreamPrompted::factory(input, OutputStreamString::factory());
    ASSERT_TRUE(stream);
    EXPECT_EQ(readChar(stream), -2);
    std::string seen;
    for (char fed : std::string("x=1\n")) {
        input->feed(std::string(1, fed));
        int c = readChar(stream);
        ASSERT_GE(c, 0);
        seen.push_back(static_cast<char>(c));
        stream->advance();
        EXPECT_EQ(readChar(stream), -2);
        EXPECT_FALSE(stream->atEOF());
    }
    EXPECT_EQ(seen, "x=1\n");
    EXPECT_EQ(stream->getPos(), 4u);
    input->setEOF();
    EXPECT_EQ(readChar(stream), -1);
    EXPECT_TRUE(stream->atEOF());
}

TEST(IOStreamPromptedConsole, EchoesAndHandlesBackspace)
{
    auto console = std::make_shared<TypedConsole>(1);
    auto output = OutputStreamString::factory();
    auto stream = IOStreamPrompted::factory(console, output);
    ASSERT_TRUE(stream);
    console->type(
        "ab\x7F"
        "c\r");
    EXPECT_EQ(readLine(stream), "ac\r");
    EXPECT_EQ(output->getAndClearBuffer(), "ab\b\x1B[Kc\r\n");

    EXPECT_EQ(readChar(stream), 'a');  // the line read stays there for the parser to read again
    for (int i = 0; i < 3; ++i)
        stream->advance();
    console->type("\bx\r");  // a backspace at the start of a line does nothing
    EXPECT_EQ(readChar(stream), 'x');
    EXPECT_EQ(stream->getPos(), 3u);
    EXPECT_EQ(output->getAndClearBuffer(), "x\r\n");

    auto silent = std::make_shared<TypedConsole>(2);
    auto quiet = OutputStreamString::factory();
    auto silentStream = IOStreamPrompted::factory(silent, quiet);
    silent->type("ok\r");
    EXPECT_EQ(readLine(silentStream), "ok\r");
    EXPECT_EQ(quiet->getAndClearBuffer(), "");
}

TEST(IOStreamPromptedConsole, AsynchronousReaderWaitsForKeysAcrossSlices)
{
    auto console = std::make_shared<TypedConsole>(1);
    auto output = OutputStreamString::factory();
    auto stream = IOStreamPrompted::factory(console, output);
    ASSERT_TRUE(stream);
    int c = 0;
    auto task = CallYieldingTask::factory(
        "async", [&](const std::shared_ptr<Task>& t) { stream->getChar_yielding(t, c); });
    ASSERT_TRUE(task);
    task->pushInteractionLevel(Qfn::AsyncIOType::Async);
    for (int slice = 0; slice < 3; ++slice) {
        ASSERT_TRUE(task->runTimeslice(1000000));
        EXPECT_FALSE(task->getIsTaskCompleted());
        EXPECT_TRUE(task->getIsWaitingForInput());
    }
    console->type("h");
    ASSERT_TRUE(task->runTimeslice(1000000));
    EXPECT_FALSE(task->getIsTaskCompleted());  // the line is not complete yet
    console->type("i\r");
    ASSERT_TRUE(task->runTimeslice(1000000));
    EXPECT_TRUE(task->getIsTaskCompleted());
    EXPECT_EQ(c, 'h');
    EXPECT_EQ(output->getAndClearBuffer(), "hi\r\n");
    if (!task->getIsTaskCompleted()) Task::deregisterTask(task->getTaskId());
}

TEST(IOStreamPromptedPrompt, ScriptPromptsOverrideTheCoordinatorDefaults)
{
    auto output = OutputStreamString::factory();
    auto stream = IOStreamPrompted::factory(InputStreamString::factory(""), output);
    auto task = CallYieldingTask::factory("prompt", [](const std::shared_ptr<Task>&) {});
    ASSERT_TRUE(stream && task);

    ASSERT_TRUE(stream->sendPromptToOutput(task, false));
    EXPECT_EQ(output->getAndClearBuffer(), Qfn::InternalCoordinator::getPrompt(0));

    stream->setPrompt(Qfn::OMStored::factory("in: "));
    stream->setPromptContinuation(Qfn::OMStored::factory(int64_t(7)));  // not text: the default stands
    ASSERT_TRUE(stream->sendPromptToOutput(task, false));
    EXPECT_EQ(output->getAndClearBuffer(), "in: ");

    task->updateParsingNestLevel(1);
    ASSERT_TRUE(stream->sendPromptToOutput(task, false));
    EXPECT_EQ(output->getAndClearBuffer(), Qfn::InternalCoordinator::getPrompt(1));

    stream->setPromptContinuation(Qfn::OMStored::factory(""));
    ASSERT_TRUE(stream->sendPromptToOutput(task, false));
    EXPECT_EQ(output->getAndClearBuffer(), "");
    if (!task->getIsTaskCompleted()) Task::deregisterTask(task->getTaskId());
}

namespace {

class StreamTask : public Task {
public:
    explicit StreamTask(std::shared_ptr<Qfn::InputStream> stream) : Task("streamTask", -2, std::move(stream))
    {
    }
    void timeslice() override {}
};

}  // namespace

TEST(IOStreamPromptedTask, PromptedStreamMakesTheTaskAsynchronous)
{
    auto prompted = std::make_shared<StreamTask>(
        IOStreamPrompted::factory(InputStreamString::factory(""), OutputStreamString::factory()));
    EXPECT_TRUE(prompted->usesAsyncIO());
    auto plain = std::make_shared<StreamTask>(InputStreamString::factory(""));
    EXPECT_FALSE(plain->usesAsyncIO());

    auto bare = std::make_shared<StreamTask>(nullptr);
    auto stream = bare->getInputStream();
    EXPECT_TRUE(std::dynamic_pointer_cast<IOStreamPrompted>(stream));
    EXPECT_EQ(bare->getInputStream(), stream);  // made once, then kept
    EXPECT_TRUE(bare->usesAsyncIO());
}
