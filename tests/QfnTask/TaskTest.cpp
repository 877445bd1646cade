#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "QfnCoordinator/InternalCoordinator.h"
#include "QfnParser/model/OMStored.h"
#include "QfnTask/OMFunctionState.h"
#include "QfnTask/Task.h"
#include "QfnTask/YieldingFrame.h"
#include "QfnUtils/Clock.h"
#include "support/LogCapture.h"

using Qfn::InternalCoordinator;
using Qfn::OMFunctionState;
using Qfn::Task;
using Qfn::YieldingFrame;
using Qfn::Clock::nowNanoseconds;

namespace {

// What the tasks of a test did, in order: "<label> runs", "<label> done", "<parent> learns <child>".
std::vector<std::string> gJournal;

// A task whose work is a callback; it records every budget it is offered and its completion.
class TestTask : public virtual Qfn::Task {
public:
    TestTask(std::string label, int64_t timeout) : Task("TestTask", timeout, nullptr), label(std::move(label))
    {
    }

    static std::shared_ptr<TestTask> make(const std::string& label, int64_t timeout = -2)
    {
        auto task = std::make_shared<TestTask>(label, timeout);
        Task::registerTask(task);
        return task;
    }

    bool runTimeslice(int64_t availableMicroseconds) override
    {
        budgets.push_back(availableMicroseconds);
        gJournal.push_back(label + " runs");
        return Task::runTimeslice(availableMicroseconds);
    }
    void timeslice() override
    {
        ++timesliceCalls;
        if (work) work(*this);
    }
    bool handleCompletion() override
    {
        bool result = Task::handleCompletion();
        gJournal.push_back(label + " done");
        if (onCompletion) onCompletion();
        return result;
    }
    bool handleChildCompletion(const std::shared_ptr<Task>& childTask) override
    {
        if (auto child = std::dynamic_pointer_cast<TestTask>(childTask))
            gJournal.push_back(label + " learns " + child->label);
        return Task::handleChildCompletion(childTask);
    }

    // Work that is never done by itself: the task yields at once and stays pending.
    void keepPending()
    {
        setIsExplicitCompletionNeeded(true);
        work = [](TestTask& self) { self.setTimesliceCompleted(); };
    }

    uint64_t lockedCount() const { return fLockedFunctionStateCount; }
    size_t frameCount() const { return fFunctionStates.size(); }

    std::string label;
    std::function<void(TestTask&)> work;
    std::function<void()> onCompletion;
    std::vector<int64_t> budgets;
    int timesliceCalls = 0;
};

// Leaves the task tables and the scheduler's settings as the test found them.
class SchedulerScope {
public:
    SchedulerScope()
    {
        gJournal.clear();
        InternalCoordinator::factory();  // the first call builds the coordinator; keep it out of timings
    }
    ~SchedulerScope()
    {
        Task::deregisterAllTasks();
        InternalCoordinator::setDefaultTimeoutMicroseconds(fDefaultTimeout);
        InternalCoordinator::setInternalCoordinatorTimesliceMicroseconds(fSliceMicroseconds);
    }

private:
    int64_t fDefaultTimeout = InternalCoordinator::getDefaultTimeoutMicroseconds();
    int64_t fSliceMicroseconds = InternalCoordinator::getInternalCoordinatorTimesliceMicroseconds();
};

// Spins until the task is told to yield; false if that did not happen within the limit.
bool spinUntilYield(Task& task, int64_t limitMicroseconds)
{
    int64_t limit = nowNanoseconds() + limitMicroseconds * 1000;
    while (!task.isTryingToYield())
        if (nowNanoseconds() >= limit) return false;
    return true;
}

// Busy-waits until a slice that ended at lastEndNs lies before the cutoff of a nested pass.
void waitPastNestedCutoff(int64_t lastEndNs)
{
    int64_t period = InternalCoordinator::getEventLoopMicroseconds() +
                     InternalCoordinator::getEventLoopSleepMicroseconds();
    while (nowNanoseconds() < lastEndNs + (period + 1000) * 1000) {
    }
}

bool isActive(const std::shared_ptr<Task>& task)
{
    const auto& active = Task::getActiveTasks();
    return std::find(active.begin(), active.end(), task) != active.end();
}

// Answers 42 after suspending `suspensions` times; counts how often it is entered.
void answer_yielding(const std::shared_ptr<Task>& task, int& retVal, int suspensions, int& entries)
{
    struct LocalVariableState : virtual OMFunctionState {
        int suspended = 0;
    };
    YieldingFrame<LocalVariableState> frame(task);
    if (frame.isFirstEntry()) retVal = -2;
    LocalVariableState& s = *frame;
    ++entries;
    do {
        if (s.suspended < suspensions) {
            ++s.suspended;
            task->setTimesliceCompleted();
            continue;
        }
        retVal = 42;
        s.fState = Qfn::kFinished;
    } while (frame.keepGoing());
    frame.release();
}

struct CallerCounts {
    int firstEntries = 0;
    int secondEntries = 0;
    int continuationRuns = 0;
};

// Two nested calls in a row; the second callee writes straight into this function's result.
void twoCalls_yielding(const std::shared_ptr<Task>& task, int& retVal, int suspensions, CallerCounts& counts)
{
    struct LocalVariableState : virtual OMFunctionState {
        int first = -1;
    };
    enum : unsigned { FIRST_CALL = 1, SECOND_CALL };
    YieldingFrame<LocalVariableState> frame(task);
    if (frame.isFirstEntry()) retVal = -2;
    LocalVariableState& s = *frame;
    do {
        // clang-format off
        switch (s.fState) {
        case 0:
            s.fState = FIRST_CALL;
            break;
        YIELDING_CALL(FIRST_CALL, answer_yielding(task, s.first, 0, counts.firstEntries));
        case Qfn::resumeAfter(FIRST_CALL):
            s.fState = SECOND_CALL;
            break;
        YIELDING_CALL(SECOND_CALL, answer_yielding(task, retVal, suspensions, counts.secondEntries));
        case Qfn::resumeAfter(SECOND_CALL):
            ++counts.continuationRuns;
            retVal += s.first;
            s.fState = Qfn::kFinished;
            break;
        }
        // clang-format on
    } while (frame.keepGoing());
    frame.release();
}

// "last" returns at once and hands nearly all of its share on; "middle" spends its whole budget, "first"
// almost none. How much is carried depends on the machine, so a pass that was preempted is tried again.
TEST(TaskBudget, LastStartedGoesFirstAndUnusedTimeIsCarriedOn)
{
    bool carried = false;
    for (int attempt = 0; attempt < 5 && !carried; ++attempt) {
        SchedulerScope scope;
        auto first = TestTask::make("first"), middle = TestTask::make("middle"),
             last = TestTask::make("last");
        middle->work = [](TestTask& self) { EXPECT_TRUE(spinUntilYield(self, 1000000)); };
        for (const auto& task : {first, middle, last})
            Task::startTask(task);

        int64_t available = 3000;
        ASSERT_TRUE(Task::runActiveTasks(available));

        EXPECT_EQ(gJournal, (std::vector<std::string>{"last runs", "last done", "middle runs", "middle done",
                                                      "first runs", "first done"}));
        EXPECT_EQ(last->budgets, std::vector<int64_t>{1000});
        ASSERT_EQ(middle->budgets.size(), 1u);
        EXPECT_LE(middle->budgets[0], 2000);
        EXPECT_EQ(first->budgets, std::vector<int64_t>{1000});
        EXPECT_LE(available, 1000);
        EXPECT_TRUE(Task::getActiveTasks().empty());
        carried = middle->budgets[0] > 1500 && available > 500;
    }
    EXPECT_TRUE(carried);
}

TEST(TaskBudget, EmptyListIgnoresTheArgumentAndNegativeBudgetFails)
{
    SchedulerScope scope;
    int64_t available = -7;
    EXPECT_TRUE(Task::runActiveTasks(available));
    EXPECT_EQ(available, -7);

    auto task = TestTask::make("task");
    Task::startTask(task);
    {
        QfnTest::LogCapture log(1);
        EXPECT_FALSE(Task::runActiveTasks(available));
        EXPECT_TRUE(
            log.hasLineEndingWith("SANITY_CHECK failed: 'availableMicroseconds >= 0' evaluates to false"));
    }
    EXPECT_TRUE(task->budgets.empty());

    // The failed call left no nesting behind: the next pass is outermost and sweeps the completed task.
    available = 500;
    EXPECT_TRUE(Task::runActiveTasks(available));
    EXPECT_TRUE(task->getIsTaskCompleted());
    EXPECT_TRUE(Task::getActiveTasks().empty());
}

// A pass nested in a running task's slice serves only tasks that the outer pass has left alone for an
// event-loop period; completed tasks stay listed, and skipped, until the outermost pass ends.
TEST(TaskNesting, NestedPassHonoursTheCutoffAndDefersTheSweep)
{
    SchedulerScope scope;
    auto stale = TestTask::make("stale"), fresh = TestTask::make("fresh");
    auto outer = TestTask::make("outer"), done = TestTask::make("done"), inner = TestTask::make("inner");
    stale->keepPending();
    fresh->keepPending();
    stale->runTimeslice(-1);
    std::vector<size_t> slicesAtNestedEnd;  // of stale, fresh, outer, done
    bool doneListedBefore = false, doneListedAfter = false;
    outer->work = [&](TestTask&) {
        doneListedBefore = done->getIsTaskCompleted() && isActive(done);
        waitPastNestedCutoff(done->getLastTimesliceEnd());  // from here on only its completion guards "done"
        fresh->runTimeslice(-1);
        EXPECT_TRUE(inner->runToCompletion());
        for (const auto& task : {stale, fresh, outer, done})
            slicesAtNestedEnd.push_back(task->budgets.size());
        doneListedAfter = isActive(done);
    };
    for (const auto& task : {stale, fresh, outer, done})
        Task::startTask(task);

    int64_t available = 4000;
    ASSERT_TRUE(Task::runActiveTasks(available));

    // Served: "stale", whose last slice ended before the cutoff. Skipped: "fresh", just served; "outer",
    // on the stack; "done", completed but still listed.
    EXPECT_EQ(slicesAtNestedEnd, (std::vector<size_t>{2, 1, 1, 1}));
    EXPECT_TRUE(doneListedBefore);
    EXPECT_TRUE(doneListedAfter);
    EXPECT_EQ(stale->budgets.size(), 3u);  // the outermost pass knows no cutoff
    EXPECT_EQ(fresh->budgets.size(), 2u);
    EXPECT_EQ(Task::getActiveTasks(), (std::vector<std::shared_ptr<Task>>{stale, fresh}));
}

TEST(TaskQueue, TasksOfOneQueueRunOneAfterAnother)
{
    SchedulerScope scope;
    auto head = TestTask::make("head"), second = TestTask::make("second"), other = TestTask::make("other");
    EXPECT_TRUE(Task::queueTask("a", head));
    EXPECT_TRUE(Task::queueTask("a", second));
    EXPECT_TRUE(Task::queueTask("b", other));
    EXPECT_TRUE(isActive(head));
    EXPECT_FALSE(isActive(second));
    EXPECT_TRUE(isActive(other));  // another queue runs side by side
    EXPECT_EQ(Task::getQueueCount(), 2u);

    bool secondActiveAtHeadCompletion = false;
    head->work = [&](TestTask&) { EXPECT_FALSE(isActive(second)); };
    head->onCompletion = [&] { secondActiveAtHeadCompletion = isActive(second); };
    int64_t available = 1000;
    ASSERT_TRUE(Task::runActiveTasks(available));
    EXPECT_TRUE(secondActiveAtHeadCompletion);
    EXPECT_TRUE(second->budgets.empty());  // started during the pass: waits for the next
    EXPECT_EQ(Task::getQueueCount(), 1u);
    EXPECT_EQ(Task::getActiveTasks(), std::vector<std::shared_ptr<Task>>{second});

    ASSERT_TRUE(Task::runActiveTasks(available = 1000));
    EXPECT_TRUE(second->getIsTaskCompleted());
    EXPECT_EQ(Task::getQueueCount(), 0u);

    auto unqueued = TestTask::make("unqueued");
    EXPECT_FALSE(Task::queueTask("", unqueued));
    EXPECT_TRUE(isActive(unqueued));
    EXPECT_EQ(Task::getQueueCount(), 0u);
}

TEST(TaskCompletion, ParentCompletesItsRunningChildrenFirst)
{
    SchedulerScope scope;
    auto parent = TestTask::make("parent"), child1 = TestTask::make("child1"),
         child2 = TestTask::make("child2");
    for (const auto& child : {child1, child2}) {
        child->keepPending();
        parent->registerChildTask(child);
        child->runTimeslice(-1);
        child->onCompletion = [&, id = parent->getTaskId()] { EXPECT_NE(Task::getTaskById(id), nullptr); };
    }
    EXPECT_EQ(child1->getParentTask(), parent);
    EXPECT_TRUE(parent->setName("boss"));
    EXPECT_FALSE(parent->setName("boss"));
    EXPECT_TRUE(child1->setName("worker"));
    EXPECT_EQ(Task::getTaskByName("worker"), child1);
    EXPECT_EQ(Task::getTaskByName("TestTask"), nullptr);  // the class name is not entered

    parent->work = [](TestTask& self) { self.exit(); };
    gJournal.clear();
    EXPECT_TRUE(parent->runTimeslice(-1));

    // Each child goes first and tells the parent, which completes last.
    ASSERT_EQ(gJournal.size(), 6u);
    for (size_t i : {1u, 3u})
        EXPECT_EQ(gJournal[i + 1], gJournal[i].substr(std::string("parent learns ").size()) + " done");
    EXPECT_NE(gJournal[1], gJournal[3]);
    EXPECT_EQ(gJournal[5], "parent done");
    EXPECT_EQ(parent->getChildTaskCount(), 0u);
    EXPECT_EQ(parent->getName(), "");
    EXPECT_EQ(Task::getTaskByName("boss"), nullptr);
    EXPECT_EQ(Task::getTaskByName("worker"), nullptr);
    for (const auto& task : {parent, child1, child2})
        EXPECT_EQ(Task::getTaskById(task->getTaskId()), nullptr);
}

TEST(TaskTimeout, NegativeTimeoutFallsBackOnTheDefault)
{
    SchedulerScope scope;
    // Spins for up to 20 ms and tells whether the task timed out meanwhile.
    auto timesOut = [](int64_t timeout) {
        auto task = TestTask::make("spinner", timeout);
        bool yielded = false;
        task->work = [&](TestTask& self) { yielded = spinUntilYield(self, 20000); };
        task->runTimeslice(-1);
        EXPECT_TRUE(task->getIsTaskCompleted());
        return yielded && task->getIsTimedOut();
    };
    InternalCoordinator::setDefaultTimeoutMicroseconds(1000);
    EXPECT_TRUE(timesOut(-1));
    EXPECT_FALSE(timesOut(-2));  // the run-to-completion value ignores the default
    InternalCoordinator::setDefaultTimeoutMicroseconds(-1);
    EXPECT_FALSE(timesOut(-1));
}

TEST(TaskTimeout, ZeroTimeoutOrBudgetStillCallsTimesliceOnce)
{
    SchedulerScope scope;
    auto timedOut = TestTask::make("timedOut", 0);
    bool yieldAtFirstLook = false;
    timedOut->work = [&](TestTask& self) { yieldAtFirstLook = self.isTryingToYield(); };
    EXPECT_TRUE(timedOut->runTimeslice(-1));
    EXPECT_TRUE(yieldAtFirstLook);
    EXPECT_TRUE(timedOut->getIsTimedOut());
    EXPECT_TRUE(timedOut->getIsTaskCompleted());
    // A completed task gets no further slice.
    EXPECT_TRUE(QfnTest::logsError("!fIsTaskCompleted", [&] { EXPECT_FALSE(timedOut->runTimeslice(-1)); }));
    EXPECT_EQ(timedOut->timesliceCalls, 1);

    // With no budget, the spent slice is noticed after the one state of a call that finishes at once.
    auto noBudget = TestTask::make("noBudget");
    noBudget->setIsExplicitCompletionNeeded(true);
    int result = 0, entries = 0;
    noBudget->work = [&](TestTask& self) {
        answer_yielding(self.shared_from_this(), result, 0, entries);
        if (self.timesliceCalls == 3) self.setTimesliceCompleted();  // keeps a fault from looping forever
    };
    EXPECT_TRUE(noBudget->runTimeslice(0));
    EXPECT_EQ(noBudget->timesliceCalls, 1);
    EXPECT_EQ(result, 42);
    EXPECT_EQ(noBudget->frameCount(), 0u);
    EXPECT_FALSE(noBudget->getIsTaskCompleted());
}

// Yields do not end a run to completion; each round serves the active tasks once, and the task waits
// for its children too.
TEST(TaskRunToCompletion, LoopsUntilItAndItsChildrenAreDone)
{
    SchedulerScope scope;
    InternalCoordinator::setInternalCoordinatorTimesliceMicroseconds(7000);
    auto background = TestTask::make("background"), waiting = TestTask::make("waiting");
    auto child = TestTask::make("child");
    background->keepPending();
    for (const auto& task : {waiting, child}) {
        task->setIsExplicitCompletionNeeded(true);
        task->work = [limit = task == waiting ? 5 : 7](TestTask& self) {
            if (self.timesliceCalls < limit)
                self.setTimesliceCompleted();  // as when input is not there yet
            else
                self.setIsExplicitCompletionFlagged(true);
        };
    }
    waiting->registerChildTask(child);
    Task::startTask(child);
    Task::startTask(background);  // served first in each round, so offered exactly half

    EXPECT_TRUE(waiting->runToCompletion());
    EXPECT_TRUE(waiting->getIsTaskCompleted());
    EXPECT_EQ(waiting->timesliceCalls, 5);
    EXPECT_EQ(waiting->budgets, std::vector<int64_t>{Task::kRunToCompletion});
    EXPECT_EQ(child->timesliceCalls, 7);
    EXPECT_EQ(background->budgets, std::vector<int64_t>(7, 3500));
}

TEST(TaskYielding, CalleeSuspendingTwiceIsCalledThreeTimes)
{
    SchedulerScope scope;
    auto task = TestTask::make("task");
    CallerCounts counts;
    int result = 0;
    task->work = [&](TestTask& self) { twoCalls_yielding(self.shared_from_this(), result, 2, counts); };

    std::vector<size_t> framesAfterSlice;
    for (int slice = 0; slice < 3; ++slice) {
        EXPECT_FALSE(task->getIsTaskCompleted());
        task->runTimeslice(-1);
        framesAfterSlice.push_back(task->frameCount());
        EXPECT_EQ(task->lockedCount(), 0u);
    }
    EXPECT_EQ(framesAfterSlice, (std::vector<size_t>{2, 2, 0}));
    EXPECT_EQ(counts.firstEntries, 1);  // a suspension in the second call does not repeat the first
    EXPECT_EQ(counts.secondEntries, 3);
    EXPECT_EQ(counts.continuationRuns, 1);
    EXPECT_EQ(result, 84);
    EXPECT_TRUE(task->getIsTaskCompleted());
}

TEST(TaskYielding, OnePassLeavesTheFrameStackAsFound)
{
    SchedulerScope scope;
    auto task = TestTask::make("task");
    std::shared_ptr<Task> asTask = task;
    task->lockFunctionState(std::make_shared<OMFunctionState>());  // a caller's frame, on the stack
    CallerCounts counts;
    int result = 0;
    twoCalls_yielding(asTask, result, 0, counts);
    EXPECT_EQ(result, 84);
    EXPECT_EQ(task->frameCount(), 1u);
    EXPECT_EQ(task->lockedCount(), 1u);

    // With the slice already over, a new call still runs its first state once, and its record goes.
    task->setTimesliceCompleted();
    int entries = 0;
    answer_yielding(asTask, result, 0, entries);
    EXPECT_EQ(result, 42);
    EXPECT_EQ(task->frameCount(), 1u);
    EXPECT_EQ(task->lockedCount(), 1u);
}

TEST(TaskYielding, TimedOutTaskLosesAllFramesInOnePass)
{
    SchedulerScope scope;
    auto task = TestTask::make("task", 3000);
    CallerCounts counts;
    int c = 0;
    task->work = [&](TestTask& self) { twoCalls_yielding(self.shared_from_this(), c, INT_MAX, counts); };
    task->runTimeslice(-1);
    ASSERT_EQ(task->frameCount(), 2u);

    // Past the deadline before the next slice starts, so that the frames meet the time-out.
    for (int64_t until = nowNanoseconds() + 3000 * 1000; nowNanoseconds() < until;) {
    }
    EXPECT_TRUE(task->runTimeslice(-1));
    EXPECT_TRUE(task->getIsTimedOut());
    EXPECT_TRUE(task->getIsTaskCompleted());
    EXPECT_EQ(task->frameCount(), 0u);
    EXPECT_EQ(task->lockedCount(), 0u);
    EXPECT_EQ(counts.secondEntries, 2);
    EXPECT_EQ(counts.continuationRuns, 0);
    EXPECT_EQ(c, -2);
}

}  // namespace

TEST(TaskResult, ResultReadsAsNodeEvenWhenOnlyABoolWasSet)
{
    auto task = TestTask::make("result");
    if (!task->getIsTaskCompleted()) Qfn::Task::deregisterTask(task->getTaskId());
    auto boolResult = task->getRetValNode();
    ASSERT_TRUE(boolResult);
    EXPECT_EQ(boolResult->getType(), Qfn::OMType::Bool);
    EXPECT_FALSE(boolResult->getBool());
    EXPECT_NE(task->getRetValNode(), boolResult) << "the bool's node is made afresh, not stored";

    auto node = Qfn::OMStored::factory(int64_t{42});
    task->setRetValNode(node);
    EXPECT_EQ(task->getRetValNode(), node);
}
