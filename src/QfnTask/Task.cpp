#include "QfnTask/Task.h"

#include <chrono>
#include <thread>

#include "QfnLogger/Check.h"
#include "QfnTask/ITaskHost.h"
#include "QfnTask/OMFunctionState.h"
#include "QfnUtils/Clock.h"

namespace Qfn {

namespace {

// A pacing setting of the host; without a host, its default.
int64_t hostSetting(int64_t (ITaskHost::*setting)(), int64_t defaultValue)
{
    ITaskHost* host = Task::getHost();
    return host ? (host->*setting)() : defaultValue;
}

}  // namespace

std::unordered_map<uint64_t, std::shared_ptr<Task>> Task::fTasksById;
std::unordered_map<std::string, uint64_t> Task::fTaskIdsByName;
std::map<std::string, std::vector<std::shared_ptr<Task>>> Task::fTaskQueues;
std::vector<std::shared_ptr<Task>> Task::fActiveTasks;
uint64_t Task::fRunActiveTasksNestLevel = 0;
uint64_t Task::fLastTaskId = 0;
bool Task::fSliceBudgetExhausted = false;

namespace {

bool isReached(int64_t deadline, int64_t now)
{
    return deadline != Task::kNoDeadline && now >= deadline;
}

}  // namespace

Task::Task(const char* name, int64_t timeoutMicroseconds, std::shared_ptr<InputStream> inputStream)
    : fInputStream(std::move(inputStream)),
      fName(name ? name : ""),
      fTaskId(++fLastTaskId),
      fTimeoutMicroseconds(timeoutMicroseconds)
{
}

Task::~Task() = default;

bool Task::runTimeslice(int64_t availableMicroseconds)
{
    bool retVal = false;
    Task* outer = fRunningTask;
    try {
        do {
            fIsRunningTimeslice = true;
            fRunningTask = this;
            retVal = runTimeslice_(availableMicroseconds);
            fRunningTask = outer;
            fLastTimesliceEnd = Clock::nowNanoseconds();
            fIsRunningTimeslice = false;
        } while (false);
    } catch (std::exception& e) {
        fRunningTask = outer;
        fIsRunningTimeslice = false;
        LOG_THROWS(e);
    }
    return retVal;
}

Task* Task::getFaultCollector()
{
    // Parents are held weakly; the chain from a script's task to its loop is a few links long.
    std::shared_ptr<Task> held;
    for (Task* task = fRunningTask; task; task = held.get()) {
        if (task->fCollectsFaults) return task->fHasFault ? nullptr : task;
        held = task->getParentTask();
    }
    return nullptr;
}

bool Task::takeFault(Fault& fault)
{
    if (!fHasFault) return false;
    fault = std::move(fFault);
    fFault = Fault();
    fHasFault = false;
    return true;
}

bool Task::runToCompletion()
{
    bool retVal = false;
    try {
        do {
            retVal = runTimeslice(kRunToCompletion);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Task::runTimeslice_(int64_t availableMicroseconds)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(!fIsTaskCompleted);
            SANITY_CHECK(!fHost || fHost->isAvailable());
            int64_t now = Clock::nowNanoseconds();
            if (!fIsTimesliceEntered) {
                int64_t timeout = fTimeoutMicroseconds;
                if (timeout != kRunToCompletion && timeout < 0) {
                    timeout = hostSetting(&ITaskHost::getDefaultTimeoutMicroseconds,
                                          ITaskHost::kDefaultTimeoutMicroseconds);
                }
                fTimeoutDeadline = timeout < 0 ? kNoDeadline : now + timeout * 1000;
            }
            fTimesliceDeadline = availableMicroseconds < 0 ? kNoDeadline : now + availableMicroseconds * 1000;
            // A deadline passed between slices ends the task at once, before the clock reads that
            // the steps make only now and then.
            if (isReached(fTimeoutDeadline, now)) fIsTimedOut = true;
            // The first question of each slice reads the clock: a slice with no budget ends at once.
            fYieldQuestionCount = kClockReadInterval - 1;
            fSliceStart = now;
            fIsSliceClockRead = fFunctionStates.size() < kLongResume;
            fIsTimesliceCompleted = false;
            fIsSleepRequested = false;
            while (!fIsTimesliceCompleted) {
                if (!runOneLoopStep(availableMicroseconds)) break;
            }
            if (fIsTerminationPending) {
                for (auto& child : fChildTasks)
                    child.second->setIsTerminationPending(true);
            }
            if (fIsTaskCompleted) handleCompletion();
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// One turn of the slice loop: the task's work, then the tests that decide whether the slice or
// the task is over. False when the turn could not be made.
bool Task::runOneLoopStep(int64_t availableMicroseconds)
{
    if (fIsTimesliceEntered && fFunctionStates.empty() &&
        (!fIsExplicitCompletionNeeded || fIsExplicitCompletionFlagged)) {
        fIsTimesliceCompleted = true;
    } else {
        timeslice();
    }
    fIsTimesliceEntered = true;
    if (availableMicroseconds == kRunToCompletion) runChildrenFromInside();
    if (isReached(fTimeoutDeadline, Clock::nowNanoseconds())) fIsTimedOut = true;
    if (fIsSleepRequested) {
        std::this_thread::sleep_for(std::chrono::microseconds(hostSetting(
            &ITaskHost::getEventLoopSleepMicroseconds, ITaskHost::kDefaultEventLoopSleepMicroseconds)));
        fIsSleepRequested = false;
    }
    bool idle = isIdle();
    if (fIsTimedOut || fIsExitRequested) fIsTaskCompleted = true;
    if (idle && fChildTasks.empty() && (!fIsStayResident || fIsTerminationPending)) fIsTaskCompleted = true;
    if (fIsTaskCompleted) {
        fIsTimesliceCompleted = true;
    } else if (availableMicroseconds == kRunToCompletion) {
        fIsTimesliceCompleted = idle;
    } else if (idle) {
        fIsTimesliceCompleted = true;
    }
    return true;
}

// In run-to-completion mode the task drives the scheduler itself, and its own children when the
// scheduler had nothing to run.
void Task::runChildrenFromInside()
{
    int64_t budget =
        hostSetting(&ITaskHost::getTimesliceMicroseconds, ITaskHost::kDefaultTimesliceMicroseconds);
    if (runActiveTasks(budget) || fChildTasks.empty()) return;
    size_t childCount = fChildTasks.size();
    int64_t share = budget / static_cast<int64_t>(childCount);
    std::vector<std::shared_ptr<Task>> children;
    children.reserve(childCount);
    for (auto& child : fChildTasks)
        children.push_back(child.second);
    for (auto& child : children) {
        if (fChildTasks.size() != childCount) break;
        child->runTimeslice(share);
    }
}

bool Task::isIdle() const
{
    if (fIsTaskCompleted) return true;
    return fIsTimesliceEntered && fFunctionStates.empty() && fChildTasks.empty() &&
           (!fIsExplicitCompletionNeeded || fIsExplicitCompletionFlagged);
}

bool Task::isDeadlineReached()
{
    int64_t now = Clock::nowNanoseconds();
    if (isReached(fTimeoutDeadline, now)) {
        fIsTimedOut = true;
        return true;
    }
    if (!fIsSliceClockRead) {
        fIsSliceClockRead = true;
        const int64_t resumed = now + kResumeShare * (now - fSliceStart);
        if (fTimesliceDeadline != kNoDeadline && resumed > fTimesliceDeadline) fTimesliceDeadline = resumed;
    }
    if (isReached(fTimesliceDeadline, now)) {
        fIsTimesliceCompleted = true;
        fSliceBudgetExhausted = true;
        return true;
    }
    return false;
}

bool Task::takeSliceBudgetExhausted()
{
    bool exhausted = fSliceBudgetExhausted;
    fSliceBudgetExhausted = false;
    return exhausted;
}

bool Task::areNestedFunctionStatesActive() const
{
    return fLockedFunctionStateCount < fFunctionStates.size();
}

void Task::exit()
{
    setIsStayResident(false);
    setIsExitRequested(true);
}

void Task::forceTimesliceCompleted()
{
    setTimesliceCompleted();
    fIsSleepRequested = true;
}

std::shared_ptr<InputStream> Task::getInputStream()
{
    std::shared_ptr<InputStream> retVal;
    try {
        do {
            if (fInputStream) {
                retVal = fInputStream;
                break;
            }
            if (auto parent = getParentTask()) retVal = parent->getInputStream();
            if (retVal) break;
            if (fHost) fInputStream = fHost->makeDefaultInputStream();
            retVal = fInputStream;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<OutputStream> Task::getOutputStream()
{
    std::shared_ptr<OutputStream> retVal;
    try {
        do {
            for (std::shared_ptr<Task> task = shared_from_this(); task && !retVal;
                 task = task->getParentTask()) {
                if (fHost && task->fInputStream) retVal = fHost->getPromptedOutputStream(task->fInputStream);
            }
            if (!retVal && fHost) retVal = fHost->getDefaultOutputStream();
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<IOMNode> Task::getRetValNode()
{
    std::shared_ptr<IOMNode> retVal;
    try {
        do {
            // A task's result is always readable as a node; a bare bool result is not stored.
            retVal = fRetValNode ? fRetValNode : fHost ? fHost->makeBoolNode(fRetValBool) : nullptr;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

void Task::setRetValNode(const std::shared_ptr<IOMNode>& node)
{
    fRetValNode = node;
}

bool Task::handleCompletion()
{
    bool retVal = false;
    try {
        do {
            // The task table may hold the last reference: keep this task alive until the queue step.
            std::shared_ptr<Task> self = shared_from_this();
            while (!fChildTasks.empty()) {
                std::shared_ptr<Task> childTask = fChildTasks.begin()->second;
                if (!childTask) {
                    LOG_CHECK_FAILED("SANITY_CHECK", "childTask");
                    fChildTasks.erase(fChildTasks.begin());
                    continue;
                }
                size_t before = fChildTasks.size();
                childTask->handleCompletion();
                // A child that did not take itself out would keep this loop turning forever.
                if (fChildTasks.size() == before) fChildTasks.erase(childTask->getTaskId());
            }
            // A task that only borrows its parent's streams is none of the parent's children.
            if (auto parent = fParentTask.lock(); parent && fIsRegisteredChild)
                parent->handleChildCompletion(shared_from_this());
            setName("");
            deregisterTask(fTaskId);
            if (!fQueueName.empty()) {
                auto queueIter = fTaskQueues.find(fQueueName);
                if (queueIter != fTaskQueues.end()) {
                    auto& queue = queueIter->second;
                    SANITY_CHECK(!queue.empty());
                    std::shared_ptr<Task> thisTaskOnQueueHead = queue.front();
                    SANITY_CHECK(this == thisTaskOnQueueHead.get());
                    queue.erase(queue.begin());
                    if (!queue.empty()) {
                        startTask(queue.front());
                    } else {
                        fTaskQueues.erase(queueIter);
                    }
                }
            }
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Task::handleChildCompletion(const std::shared_ptr<Task>& childTask)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(childTask);
            auto iter = fChildTasks.find(childTask->getTaskId());
            SANITY_CHECK(iter != fChildTasks.end());
            fChildTasks.erase(iter);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Task::registerChildTask(const std::shared_ptr<Task>& childTask)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(childTask);
            fChildTasks[childTask->getTaskId()] = childTask;
            childTask->registerParentTask(shared_from_this());
            childTask->fIsRegisteredChild = true;
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Task::setIsExitRequested(bool value)
{
    fIsExitRequested = value;
    return true;
}

bool Task::setIsExplicitCompletionFlagged(bool value)
{
    fIsExplicitCompletionFlagged = value;
    return true;
}

bool Task::setIsExplicitCompletionNeeded(bool value)
{
    fIsExplicitCompletionNeeded = value;
    return true;
}

bool Task::setName(const std::string& name)
{
    bool retVal = false;
    try {
        do {
            if (!name.empty() && name == fName) break;
            if (!fName.empty()) fTaskIdsByName.erase(fName);
            fName = name;
            if (!name.empty()) fTaskIdsByName[name] = fTaskId;
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Task::updateParsingNestLevel(int step)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(step == 1 || step == -1);
            SANITY_CHECK(step == 1 || fParsingNestLevel > 0);
            fParsingNestLevel += step;
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Task::pushInteractionLevel(AsyncIOType level)
{
    bool retVal = false;
    try {
        do {
            fInteractionLevelStack.push_back(fInteractionLevel);
            fInteractionLevel = level;
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

AsyncIOType Task::popInteractionLevel()
{
    AsyncIOType retVal = AsyncIOType::Inherit;
    try {
        do {
            SANITY_CHECK(!fInteractionLevelStack.empty());
            retVal = fInteractionLevelStack.back();
            fInteractionLevelStack.pop_back();
            fInteractionLevel = retVal;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Task::usesAsyncIO()
{
    bool retVal = false;
    try {
        do {
            if (fInteractionLevel == AsyncIOType::Sync) break;
            if (fInteractionLevel == AsyncIOType::Async) {
                retVal = true;
                break;
            }
            if (fInteractionLevel != AsyncIOType::Inherit) {
                LOG_ERROR("unexpected fInteractionLevel");
                break;
            }
            if (fHost && fInputStream && fHost->getPromptedOutputStream(fInputStream)) {
                retVal = true;
                break;
            }
            if (auto parent = getParentTask()) retVal = parent->usesAsyncIO();
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<OMFunctionState> Task::getLockedFunctionState()
{
    if (fLockedFunctionStateCount >= fFunctionStates.size()) return nullptr;
    return fFunctionStates[fLockedFunctionStateCount++];
}

void Task::lockFunctionState(std::shared_ptr<OMFunctionState> state)
{
    fFunctionStates.push_back(std::move(state));
    ++fLockedFunctionStateCount;
}

bool Task::releaseFunctionState(const OMFunctionState* state)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(state);
            --fLockedFunctionStateCount;
            // The time-out is looked at with the clock reads of isTryingToYield: not on every release.
            if (!fIsTimedOut && fTimeoutDeadline != kNoDeadline &&
                (++fYieldQuestionCount & (kClockReadInterval - 1)) == 0 &&
                isReached(fTimeoutDeadline, Clock::nowNanoseconds())) {
                fIsTimedOut = true;
            }
            if ((fIsTimedOut || state->fState == OMFunctionState::kFinished) && !fFunctionStates.empty()) {
                fFunctionStates.pop_back();
                // No frame left, no call under way: a count left over by a call abandoned on failure goes.
                if (fFunctionStates.empty()) fScriptCallDepth = 0;
            }
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Task::registerTask(const std::shared_ptr<Task>& task)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(task);
            auto iter = fTasksById.find(task->getTaskId());
            SANITY_CHECK(iter == fTasksById.end());
            fTasksById.emplace(task->getTaskId(), task);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Task::deregisterTask(uint64_t id)
{
    bool retVal = false;
    try {
        do {
            auto iter = fTasksById.find(id);
            SANITY_CHECK(iter != fTasksById.end());
            // The entry may be the last owner: let it go only after the map is consistent again.
            std::shared_ptr<Task> keepAlive = std::move(iter->second);
            fTasksById.erase(iter);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<Task> Task::getTaskById(uint64_t id)
{
    auto iter = fTasksById.find(id);
    return iter == fTasksById.end() ? nullptr : iter->second;
}

std::shared_ptr<Task> Task::getTaskByName(const std::string& name)
{
    auto iter = fTaskIdsByName.find(name);
    return iter == fTaskIdsByName.end() ? nullptr : getTaskById(iter->second);
}

bool Task::startTask(const std::shared_ptr<Task>& task)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(task);
            if (Log::getLogLevel() >= 4) LOG_TRACE(task->getName());
            fActiveTasks.push_back(task);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Task::queueTask(const std::string& queueName, const std::shared_ptr<Task>& task)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(task);
            if (Log::getLogLevel() >= 4) LOG_TRACE(task->getName());
            if (queueName.empty()) {
                startTask(task);
                break;
            }
            auto& queue = fTaskQueues[queueName];
            task->fQueueName = queueName;
            queue.push_back(task);
            if (queue.size() == 1) startTask(task);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Task::runActiveTasks(int64_t& availableMicroseconds)
{
    bool retVal = false;
    try {
        do {
            if (fActiveTasks.empty()) {
                retVal = true;
                break;
            }
            SANITY_CHECK(availableMicroseconds >= 0);
            ++fRunActiveTasksNestLevel;
            int64_t cutoff =
                Clock::nowNanoseconds() - 1000 * (hostSetting(&ITaskHost::getEventLoopMicroseconds,
                                                              ITaskHost::kDefaultEventLoopMicroseconds) +
                                                  hostSetting(&ITaskHost::getEventLoopSleepMicroseconds,
                                                              ITaskHost::kDefaultEventLoopSleepMicroseconds));
            size_t count = fActiveTasks.size();
            int64_t share = availableMicroseconds / static_cast<int64_t>(count);
            int64_t carry = 0;
            for (size_t index = count; index-- > 0;) {
                if (index >= fActiveTasks.size()) continue;
                std::shared_ptr<Task> task = fActiveTasks[index];
                int64_t started = Clock::nowNanoseconds();
                int64_t budget = share + carry;
                if (task && !task->getIsTaskCompleted() && !task->getIsRunningTimeslice()) {
                    if (fRunActiveTasksNestLevel < 2 || task->getLastTimesliceEnd() < cutoff) {
                        task->runTimeslice(budget);
                    }
                }
                int64_t used = (Clock::nowNanoseconds() - started) / 1000;
                carry = budget > used ? budget - used : 0;
            }
            availableMicroseconds = carry;
            if (--fRunActiveTasksNestLevel == 0) {
                std::erase_if(fActiveTasks, [](const std::shared_ptr<Task>& task) {
                    return !task || task->getIsTaskCompleted();
                });
            }
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

void Task::deregisterAllTasks()
{
    fActiveTasks.clear();
    fTaskQueues.clear();
    fTaskIdsByName.clear();
    // Moving the table out first lets tasks that hold each other go without touching it mid-erase.
    auto tasks = std::move(fTasksById);
    fTasksById.clear();
    tasks.clear();
}

std::shared_ptr<Task> Task::findParentTaskNamed(const char* className, bool& isKnown,
                                                std::weak_ptr<Task>& found)
{
    if (isKnown) return found.lock();
    isKnown = true;
    for (std::shared_ptr<Task> task = shared_from_this(); task; task = task->getParentTask()) {
        if (task->fName == className) {
            found = task;
            return task;
        }
    }
    return nullptr;
}

std::shared_ptr<Task> Task::getParentCallNodeAsFunctionForDataReplyTask()
{
    return findParentTaskNamed("CallNodeAsFunctionForDataReplyTask",
                               fParentCallNodeAsFunctionForDataReplyTaskKnown,
                               fParentCallNodeAsFunctionForDataReplyTask);
}

std::shared_ptr<Task> Task::getParentEvalThenSendMessageTask()
{
    return findParentTaskNamed("EvalThenSendMessageTask", fParentEvalThenSendMessageTaskKnown,
                               fParentEvalThenSendMessageTask);
}

std::shared_ptr<Task> Task::getParentHandleDataRequestTask()
{
    return findParentTaskNamed("HandleDataRequestTask", fParentHandleDataRequestTaskKnown,
                               fParentHandleDataRequestTask);
}

}  // namespace Qfn
