#include <gtest/gtest.h>

#include "QfnCoordinator/InternalCoordinator.h"
#include "QfnCoordinator/MainTaskTimesliceTask.h"
#include "QfnTask/Task.h"
#include "support/LogCapture.h"
#include "support/ScopedDataHome.h"

using Qfn::InternalCoordinator;

namespace {

std::shared_ptr<InternalCoordinator> coordinator()
{
    return std::dynamic_pointer_cast<InternalCoordinator>(InternalCoordinator::factory());
}

// The rounds below check the published pid of the main coordinator: publish it, in a data folder
// of the test's own.
class PublishedCoordinator {
public:
    PublishedCoordinator() { EXPECT_TRUE(coordinator()->publishMyPid()); }

private:
    QfnTest::ScopedDataHome fDataHome;
};

// Runs one slice of a main task of its own, which makes one round of the coordinator.
// A budget far beyond what an idle round takes, so that a busy machine does not make it look busy.
void runRound(const std::shared_ptr<Qfn::Task>& mainTask)
{
    ASSERT_TRUE(mainTask->runTimeslice(200000));
}

}  // namespace

TEST(InternalCoordinatorAdaptiveSleep, QuietSpellLengthensTheSleep)
{
    PublishedCoordinator published;
    auto internalCoordinator = coordinator();
    ASSERT_TRUE(internalCoordinator);
    auto mainTask = Qfn::MainTaskTimesliceTask::factory();
    const int64_t start = 5'000'000'000'000;
    const int64_t base = InternalCoordinator::getEventLoopSleepMicroseconds();

    internalCoordinator->reportMessagingActivityInEventLoop();
    EXPECT_EQ(InternalCoordinator::adaptiveSleepMicroseconds(start), 0) << "activity resets to spinning";
    runRound(mainTask);
    EXPECT_EQ(InternalCoordinator::adaptiveSleepMicroseconds(start + 2'000'000'000), 0)
        << "no sleep until two rounds have passed, however late";
    runRound(mainTask);
    // The spell's deadlines are set at this first quiet look, from this reading of the clock.
    EXPECT_EQ(InternalCoordinator::adaptiveSleepMicroseconds(start), 0);
    EXPECT_EQ(InternalCoordinator::adaptiveSleepMicroseconds(start + 500'000), 0);
    EXPECT_EQ(InternalCoordinator::adaptiveSleepMicroseconds(start + 500'001), base);
    EXPECT_EQ(InternalCoordinator::adaptiveSleepMicroseconds(start + 50'000'001), 5 * base);
    EXPECT_EQ(InternalCoordinator::adaptiveSleepMicroseconds(start + 1'000'000'001), 10 * base);
    EXPECT_EQ(InternalCoordinator::adaptiveSleepMicroseconds(start + 100'000), 0)
        << "the deadlines stay those of the spell's start";

    internalCoordinator->reportMessagingActivityInEventLoop();
    EXPECT_EQ(InternalCoordinator::adaptiveSleepMicroseconds(start + 2'000'000'000), 0);
    runRound(mainTask);
    runRound(mainTask);
    EXPECT_EQ(InternalCoordinator::adaptiveSleepMicroseconds(start + 3'000'000'000), 0)
        << "a new spell starts spinning again";
    EXPECT_EQ(InternalCoordinator::adaptiveSleepMicroseconds(start + 3'000'600'000), base);
    if (!mainTask->getIsTaskCompleted()) Qfn::Task::deregisterTask(mainTask->getTaskId());
}

TEST(InternalCoordinatorMainRound, OneRoundPerSliceWithTheFrameKept)
{
    PublishedCoordinator published;
    auto internalCoordinator = coordinator();
    ASSERT_TRUE(internalCoordinator);
    auto mainTask = Qfn::MainTaskTimesliceTask::factory();
    uint64_t rounds = internalCoordinator->getTimesliceCount();
    uint64_t completed = internalCoordinator->getTimesliceRoundsCompleted();

    runRound(mainTask);
    EXPECT_EQ(internalCoordinator->getTimesliceCount(), rounds + 1);
    EXPECT_EQ(internalCoordinator->getTimesliceRoundsCompleted(), completed)
        << "a round is counted on resumption";
    EXPECT_EQ(mainTask->getFunctionStateCount(), 1u) << "the round's frame waits for the next slice";
    EXPECT_FALSE(mainTask->isIdle());
    EXPECT_FALSE(mainTask->getIsTaskCompleted());
    EXPECT_FALSE(internalCoordinator->getInRoundBody());

    runRound(mainTask);
    runRound(mainTask);
    EXPECT_EQ(internalCoordinator->getTimesliceCount(), rounds + 3);
    EXPECT_EQ(internalCoordinator->getTimesliceRoundsCompleted(), completed + 2);
    if (!mainTask->getIsTaskCompleted()) Qfn::Task::deregisterTask(mainTask->getTaskId());
}

TEST(InternalCoordinatorEventLoop, WithoutMainTaskReturnsAtOnceAndUnlocked)
{
    ASSERT_TRUE(coordinator());
    ASSERT_FALSE(InternalCoordinator::getMainTask());
    EXPECT_TRUE(InternalCoordinator::runEventLoop(-1));
    EXPECT_TRUE(InternalCoordinator::runEventLoopUntilNoMoreSubTasks(-1));
    std::unique_lock<std::mutex> lock(InternalCoordinator::getSleepQuillfernMutex(), std::try_to_lock);
    EXPECT_TRUE(lock.owns_lock()) << "the sleep mutex was left locked";

    EXPECT_FALSE(InternalCoordinator::isTimedOut(std::numeric_limits<int64_t>::max()));
    EXPECT_TRUE(InternalCoordinator::isTimedOut(1));
}

TEST(InternalCoordinatorTermination, RefusedWhileTerminationIsBlocked)
{
    auto internalCoordinator = coordinator();
    ASSERT_TRUE(internalCoordinator);
    QfnTest::LogCapture capture(3);
    InternalCoordinator::setCanTerminate(false);
    EXPECT_FALSE(internalCoordinator->terminate());
    InternalCoordinator::setCanTerminate(true);
    EXPECT_TRUE(capture.hasLineEndingWith(" terminate()"));
    EXPECT_TRUE(capture.hasLineEndingWith(" cannot terminate - fCanTerminate is false"));
    EXPECT_FALSE(InternalCoordinator::isTerminating());
    EXPECT_FALSE(InternalCoordinator::isTerminatingAndIdle());
    EXPECT_TRUE(internalCoordinator->isIdle());
}

TEST(InternalCoordinatorSwitches, ArgumentsAreCheckedAndConverted)
{
    QfnTest::LogCapture capture(2);
    std::vector<std::string> seven = {"7"};
    EXPECT_TRUE(InternalCoordinator::processCmdLineArg('e', seven));
    EXPECT_EQ(InternalCoordinator::getConsoleEcho(), 0) << "echo above 3 turns off";
    std::vector<std::string> one = {"1"};
    EXPECT_TRUE(InternalCoordinator::processCmdLineArg('e', one));
    EXPECT_EQ(InternalCoordinator::getConsoleEcho(), 1);

    std::vector<std::string> milliseconds = {"250"};
    int64_t remoteTimeout = InternalCoordinator::getRemoteTimeoutMicroseconds();
    EXPECT_TRUE(InternalCoordinator::processCmdLineArg('o', milliseconds));
    EXPECT_EQ(InternalCoordinator::getRemoteTimeoutMicroseconds(), 250000);

    std::vector<std::string> notNumeric = {"25x"};
    EXPECT_FALSE(InternalCoordinator::processCmdLineArg('o', notNumeric));
    EXPECT_TRUE(
        capture.hasLineEndingWith("SANITY_CHECK failed: 'switchArgs.size() == 1 && "
                                  "Utils::isNumeric(switchArgs[0])' evaluates to false"));
    EXPECT_EQ(InternalCoordinator::getRemoteTimeoutMicroseconds(), 250000);
    std::vector<std::string> none;
    EXPECT_TRUE(
        InternalCoordinator::processCmdLineArg('o', milliseconds = {std::to_string(remoteTimeout / 1000)}));

    capture.clear();
    std::vector<std::string> unclear = {"x"};
    EXPECT_TRUE(InternalCoordinator::processCmdLineArg('t', unclear));
    EXPECT_FALSE(InternalCoordinator::getIsRunTests());
    EXPECT_TRUE(capture.lines().empty()) << "an unclear -t answer changes nothing and says nothing";
    EXPECT_FALSE(InternalCoordinator::processCmdLineArg('i', unclear));
    EXPECT_TRUE(
        capture.hasLineEndingWith("SANITY_CHECK failed: 'switchArgs.size() == 0' evaluates to false"));
    EXPECT_FALSE(InternalCoordinator::processCmdLineArg('Q', none));
    EXPECT_TRUE(capture.hasLineEndingWith("SANITY_CHECK failed: 'success' evaluates to false"));
}
