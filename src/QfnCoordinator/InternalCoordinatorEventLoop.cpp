#include <atomic>
#include <chrono>
#include <condition_variable>
#include <limits>
#include <thread>

#include "QfnCoordinator/InternalCoordinator.h"
#include "QfnCoordinator/SiblingCoordinator.h"
#include "QfnLogger/Check.h"
#include "QfnTask/Task.h"
#include "QfnTask/YieldingFrame.h"
#include "QfnUtils/Clock.h"
#include "QfnUtils/Pipes.h"
#include "QfnUtils/Process.h"
#include "QfnUtils/Signals.h"

namespace Qfn {

bool InternalCoordinator::fQuillfernThreadIdIsSet = false;
std::thread::id InternalCoordinator::fQuillfernThreadId;
bool InternalCoordinator::fIsSleepLockHeld = false;
uint64_t InternalCoordinator::fSleepActivityMark = 0;
bool InternalCoordinator::fSleepFresh = false;
int64_t InternalCoordinator::fSleepDeadlineShort = 0;
int64_t InternalCoordinator::fSleepDeadlineMedium = 0;
int64_t InternalCoordinator::fSleepDeadlineLong = 0;

namespace {

// The end of a loop that runs until its main task ends: later than any reading of the clock.
constexpr int64_t kNoEndTime = std::numeric_limits<int64_t>::max();

// How another thread ends the coordinator thread's sleep: a flag, and a condition to wait on.
struct Wake {
    std::mutex mutex;
    std::condition_variable condition;
    bool isRequested = false;
};

Wake& wake()
{
    static Wake instance;
    return instance;
}

std::atomic<InternalCoordinator::GatewayInputMethod> gGatewayInputMethod{nullptr};

constexpr int64_t kPidCheckIntervalNanoseconds = 100000000;
int64_t gNextPidCheck = 0;

// Sleeps for the time given, or less when another thread has work for the coordinator thread; true
// when it was woken.
bool sleepUnlessWoken(int64_t sleepMicroseconds)
{
    Wake& w = wake();
    std::unique_lock<std::mutex> lock(w.mutex);
    w.condition.wait_for(lock, std::chrono::microseconds(sleepMicroseconds), [&] { return w.isRequested; });
    const bool isWoken = w.isRequested;
    w.isRequested = false;
    return isWoken;
}

}  // namespace

void InternalCoordinator::wakeEventLoop()
{
    Wake& w = wake();
    {
        std::lock_guard<std::mutex> lock(w.mutex);
        w.isRequested = true;
    }
    w.condition.notify_one();
}

void InternalCoordinator::setGatewayInputMethod(GatewayInputMethod method)
{
    gGatewayInputMethod = method;
}

std::mutex& InternalCoordinator::getSleepQuillfernMutex()
{
    static std::mutex sleepMutex;
    return sleepMutex;
}

void InternalCoordinator::noteSleepLockHeldByThisThread()
{
    fIsSleepLockHeld = true;
    if (!fQuillfernThreadIdIsSet) {
        fQuillfernThreadId = std::this_thread::get_id();
        fQuillfernThreadIdIsSet = true;
    }
}

bool InternalCoordinator::attachSleepLockFromQuillfernThread()
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(!fQuillfernThreadIdIsSet || fQuillfernThreadId == std::this_thread::get_id());
            if (!fIsSleepLockHeld) {
                getSleepQuillfernMutex().lock();
                fIsSleepLockHeld = true;
            }
            if (!fQuillfernThreadIdIsSet) {
                fQuillfernThreadId = std::this_thread::get_id();
                fQuillfernThreadIdIsSet = true;
            }
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool InternalCoordinator::releaseSleepLockFromQuillfernThread()
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(!fQuillfernThreadIdIsSet || fQuillfernThreadId == std::this_thread::get_id());
            if (fIsSleepLockHeld) {
                getSleepQuillfernMutex().unlock();
                fIsSleepLockHeld = false;
            }
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool InternalCoordinator::isTimedOut(int64_t endTime)
{
    return endTime != kNoEndTime && endTime < Clock::nowNanoseconds();
}

bool InternalCoordinator::runEventLoop(int64_t timesliceMicroseconds)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(runEventLoop(timesliceMicroseconds, []() { return false; }));
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool InternalCoordinator::runEventLoopUntilNoMoreSubTasks(int64_t timesliceMicroseconds)
{
    bool retVal = false;
    try {
        do {
            std::shared_ptr<InternalCoordinator> internalCoordinator;
            ASSIGN(internalCoordinator,
                   std::dynamic_pointer_cast<Qfn::InternalCoordinator>(Qfn::InternalCoordinator::factory()));
            bool hasRun = false;
            auto stopTest = [&hasRun, internalCoordinator]() {
                // A round inside its body (messaging and child services) is never cut short.
                if (internalCoordinator->fInRoundBody) return false;
                bool mustRun = !hasRun;
                hasRun = true;
                return !mustRun && internalCoordinator->fMainTask && internalCoordinator->fMainTask->isIdle();
            };
            if (!runEventLoop(timesliceMicroseconds, stopTest)) {
                LOG_CHECK_FAILED(
                    "SANITY_CHECK",
                    "internalCoordinator->runEventLoop( timesliceMicroseconds, [&hasRun, "
                    "internalCoordinator]() { bool mustRun = ! hasRun; hasRun = true; bool canTerminate = ! "
                    "mustRun && internalCoordinator->fMainTask->isIdle(); return canTerminate; })");
                break;
            }
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool InternalCoordinator::runEventLoop(int64_t timesliceMicroseconds, const std::function<bool()>& stopTest)
{
    bool retVal = false;
    try {
        do {
            auto* internalCoordinator = dynamic_cast<InternalCoordinator*>(fSingleton.get());
            const std::shared_ptr<Task> mainTask =
                internalCoordinator ? internalCoordinator->fMainTask : nullptr;
            if (!mainTask || (mainTask->getIsTaskCompleted() && mainTask->isIdle())) {
                retVal = true;
                break;
            }
            SANITY_CHECK(attachSleepLockFromQuillfernThread());
            int64_t now = Clock::nowNanoseconds();
            int64_t endTime = timesliceMicroseconds < 0 ? kNoEndTime : now + timesliceMicroseconds * 1000;
            int64_t budget = getInternalCoordinatorTimesliceMicroseconds();
            std::mutex& sleepMutex = getSleepQuillfernMutex();
            while (true) {
                if (isTimedOut(endTime) || stopTest()) break;
                if (Signals::takeTerminateRequest()) {
                    Signals::noteTerminating();
                    internalCoordinator->terminate();
                }
                int64_t passBudget = budget;
                Task::runActiveTasks(passBudget);
                ++internalCoordinator->fEventLoopRounds;
                if (mainTask->getIsTaskCompleted()) break;
                if (Task::takeSliceBudgetExhausted())
                    internalCoordinator->reportMessagingActivityInEventLoop();
                int64_t sleepMicroseconds = getEventLoopSleepMicrosecondsForMainTask();
                bool woken = false;
                sleepMutex.unlock();
                if (sleepMicroseconds != 0) {
                    now = Clock::nowNanoseconds();
                    if (now < endTime) {
                        int64_t wake = now + sleepMicroseconds * 1000;
                        // A sleep ends with the time slice at the latest.
                        if (endTime < wake) sleepMicroseconds = (endTime - now) / 1000;
                        if (sleepUnlessWoken(sleepMicroseconds)) woken = true;
                    }
                }
                sleepMutex.lock();
                // Work handed over by another thread is activity: the loop spins again for a while.
                if (woken) internalCoordinator->reportMessagingActivityInEventLoop();
            }
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

int64_t InternalCoordinator::getEventLoopSleepMicrosecondsForMainTask()
{
    return adaptiveSleepMicroseconds(Clock::nowNanoseconds());
}

int64_t InternalCoordinator::adaptiveSleepMicroseconds(int64_t now)
{
    int64_t retVal = 0;
    try {
        do {
            auto* internalCoordinator = dynamic_cast<InternalCoordinator*>(fSingleton.get());
            if (!internalCoordinator) break;
            if (internalCoordinator->fMessagingActivity != 0) {
                internalCoordinator->fMessagingActivity = 0;
                fSleepActivityMark = internalCoordinator->fTimesliceCount;
                fSleepFresh = true;
                break;
            }
            if (internalCoordinator->fTimesliceCount - fSleepActivityMark < 2) break;
            if (fSleepFresh) {
                fSleepFresh = false;
                fSleepDeadlineShort = now + 500000;
                fSleepDeadlineMedium = now + 50000000;
                fSleepDeadlineLong = now + 1000000000;
            }
            int64_t base = getEventLoopSleepMicroseconds();
            if (fSleepDeadlineLong < now) {
                retVal = base * 10;
            } else if (fSleepDeadlineMedium < now) {
                retVal = base * 5;
            } else if (fSleepDeadlineShort < now) {
                retVal = base;
            }
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool InternalCoordinator::reportMessagingActivityInEventLoop()
{
    ++fMessagingActivity;
    return true;
}

bool InternalCoordinator::handleMessagingTimeslice()
{
    bool retVal = false;
    try {
        do {
            bool result = Pipes::timeslice();
            EXPECTED(result);
            // Lines that the gateway's sockets handed over are read in before the queue is routed.
            if (GatewayInputMethod takeGatewayInput = gGatewayInputMethod.load()) {
                result = takeGatewayInput();
                EXPECTED(result);
            }
            if (fIsInitDone) {
                result = monitorNamedPipe();
                EXPECTED(result);
            }
            result = processMessageQueues();
            EXPECTED(result);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

void InternalCoordinator::timeslice_yielding(const std::shared_ptr<Task>& task, bool& completed)
{
    struct LocalVariableState : virtual OMFunctionState {
        bool result = false;
    };
    // The round's states; CHILD_SERVICES resumes at resumeAfter(CHILD_SERVICES).
    enum : unsigned {
        ROUND_START = 0,
        SCAN_ACTIVE_SIBLINGS = 1,
        SCAN_NAMED_PIPE_SIBLINGS = 2,
        SCAN_CONFIG_SIBLINGS = 3,
        MESSAGING = 4,
        CHILD_SERVICES = 5,
        CHECK_PUBLISHED_PID = 7,
        ROUND_DONE = 8,
    };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) completed = false;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case ROUND_START:
                    if (isTerminatingAndIdle()) {
                        completed = true;
                        s.fState = kFinished;
                        break;
                    }
                    ++fTimesliceCount;
                    s.result = handleMessagingTimeslice();
                    EXPECTED(s.result);
                    s.result = checkConsoleCompletion();
                    EXPECTED(s.result);
                    // Children this process launched never stay zombies.
                    Process::reapChildren();
                    if (getIsReportSessionData()) {
                        writeSessionData();
                        s.fState = SCAN_ACTIVE_SIBLINGS;
                        break;
                    }
                    [[fallthrough]];
                case SCAN_ACTIVE_SIBLINGS:
                    s.result = SiblingCoordinator::scanForActiveSiblings();
                    EXPECTED(s.result);
                    s.fState = SCAN_NAMED_PIPE_SIBLINGS;
                    break;
                case SCAN_NAMED_PIPE_SIBLINGS:
                    if (!isMainCoordinator()) {
                        s.fState = MESSAGING;
                        break;
                    }
                    s.result = SiblingCoordinator::scanForNamedPipeSiblings();
                    EXPECTED(s.result);
                    s.fState = SCAN_CONFIG_SIBLINGS;
                    break;
                case SCAN_CONFIG_SIBLINGS:
                    s.result = SiblingCoordinator::scanForConfigSiblings();
                    EXPECTED(s.result);
                    s.fState = MESSAGING;
                    break;
                case MESSAGING:
                    fInRoundBody = true;
                    s.result = handleMessagingTimeslice();
                    EXPECTED(s.result);
                    s.fState = CHILD_SERVICES;
                    break;
                    YIELDING_CALL(CHILD_SERVICES, Service_abstract::timeslice_yielding(task, s.result));
                case resumeAfter(CHILD_SERVICES): {
                    fInRoundBody = false;
                    EXPECTED(s.result);
                    // The pid file is looked at ten times a second, not on every round: a busy
                    // coordinator makes thousands of rounds a second, and a takeover is seen soon enough.
                    const int64_t now = Clock::nowNanoseconds();
                    if (now < gNextPidCheck) {
                        task->setTimesliceCompleted();
                        s.fState = ROUND_DONE;
                        break;
                    }
                    gNextPidCheck = now + kPidCheckIntervalNanoseconds;
                    if (isMainCoordinator()) {
                        s.result = verifyMyPublishedPid();
                        s.fState = CHECK_PUBLISHED_PID;
                        break;
                    }
                    restoreMyPid();
                    task->setTimesliceCompleted();
                    s.fState = ROUND_DONE;
                    break;
                }
                case CHECK_PUBLISHED_PID:
                    if (!s.result) {
                        LOG_ERROR(
                            "published pid has changed; another coordinator node has taken over. "
                            "Terminating");
                        terminate();
                    }
                    restoreMyPid();
                    task->setTimesliceCompleted();
                    s.fState = ROUND_DONE;
                    break;
                case ROUND_DONE:
                    ++fTimesliceRoundsCompleted;
                    s.fState = ROUND_START;
                    break;
                default:
                    s.fState = kFinished;
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

}  // namespace Qfn
