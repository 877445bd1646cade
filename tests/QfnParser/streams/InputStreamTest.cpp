#include <gtest/gtest.h>

#include <deque>
#include <memory>

#include "QfnParser/streams/InputStream.h"
#include "QfnTask/AsyncIOType.h"
#include "QfnTask/CallYieldingTask.h"
#include "QfnTask/Task.h"

using Qfn::AsyncIOType;
using Qfn::CallYieldingTask;
using Qfn::Task;

namespace {

// A source whose characters arrive when the test says so; until then it has nothing yet.
class ArrivingInput : public Qfn::InputStream {
public:
    void arrive(int c) { fQueue.push_back(c); }
    bool advance() override
    {
        if (!fQueue.empty()) {
            fQueue.pop_front();
            ++fPos;
        }
        return true;
    }
    bool flush() override { return true; }
    int getChar() override { return fQueue.empty() ? kNothingYet : fQueue.front(); }
    uint64_t getPos() override { return fPos; }
    bool setPos(uint64_t pos) override { return pos == fPos; }

private:
    std::deque<int> fQueue;
    uint64_t fPos = 0;
};

constexpr int64_t kSliceBudget = 1000000;

// A task whose only work is one getChar_yielding call on the stream, run a slice at a time.
std::shared_ptr<Task> readerTask(const std::shared_ptr<ArrivingInput>& stream, int& c, AsyncIOType level)
{
    auto task = CallYieldingTask::factory(
        "reader", [stream, &c](const std::shared_ptr<Task>& t) { stream->getChar_yielding(t, c); });
    if (task) task->pushInteractionLevel(level);
    return task;
}

}  // namespace

TEST(InputStreamGetCharYielding, ReadyCharacterComesInTheFirstSliceWithoutConsumingIt)
{
    auto stream = std::make_shared<ArrivingInput>();
    stream->arrive('q');
    int c = 0;
    auto task = readerTask(stream, c, AsyncIOType::Sync);
    ASSERT_TRUE(task);
    ASSERT_TRUE(task->runTimeslice(kSliceBudget));
    EXPECT_EQ(c, 'q');
    EXPECT_TRUE(task->getIsTaskCompleted());
    EXPECT_FALSE(task->getIsWaitingForInput());
    EXPECT_EQ(stream->getChar(), 'q');
    EXPECT_EQ(stream->getPos(), 0u);
    if (!task->getIsTaskCompleted()) Task::deregisterTask(task->getTaskId());
}

TEST(InputStreamGetCharYielding, SynchronousTaskTakesNothingReadyAsEndOnTheNextSlice)
{
    auto stream = std::make_shared<ArrivingInput>();
    int c = 0;
    auto task = readerTask(stream, c, AsyncIOType::Sync);
    ASSERT_TRUE(task);
    ASSERT_TRUE(task->runTimeslice(kSliceBudget));
    EXPECT_EQ(c, -2);
    EXPECT_FALSE(task->getIsTaskCompleted());
    EXPECT_EQ(task->getFunctionStateCount(), 1u);
    EXPECT_TRUE(task->getIsWaitingForInput());

    stream->arrive('x');  // too late: the synchronous reader has already decided
    ASSERT_TRUE(task->runTimeslice(kSliceBudget));
    EXPECT_EQ(c, -1);
    EXPECT_TRUE(stream->atEOF());
    EXPECT_TRUE(task->getIsTaskCompleted());
    if (!task->getIsTaskCompleted()) Task::deregisterTask(task->getTaskId());
}

TEST(InputStreamGetCharYielding, AsynchronousTaskReadsNothingYetAndAsksAgain)
{
    auto stream = std::make_shared<ArrivingInput>();
    int c = 0;
    auto task = readerTask(stream, c, AsyncIOType::Async);
    ASSERT_TRUE(task);
    ASSERT_TRUE(task->usesAsyncIO());
    ASSERT_TRUE(task->runTimeslice(kSliceBudget));
    EXPECT_FALSE(task->getIsTaskCompleted());
    ASSERT_TRUE(task->runTimeslice(kSliceBudget));
    EXPECT_EQ(c, -2);
    EXPECT_FALSE(stream->atEOF());
    EXPECT_TRUE(task->getIsTaskCompleted());
    if (!task->getIsTaskCompleted()) Task::deregisterTask(task->getTaskId());

    stream->arrive('y');
    auto again = readerTask(stream, c, AsyncIOType::Async);
    ASSERT_TRUE(again);
    ASSERT_TRUE(again->runTimeslice(kSliceBudget));
    EXPECT_EQ(c, 'y');
    if (!again->getIsTaskCompleted()) Task::deregisterTask(again->getTaskId());
}
