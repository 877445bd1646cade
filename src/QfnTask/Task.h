#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "QfnTask/AsyncIOType.h"
#include "QfnTask/Forward.h"

namespace Qfn {

// A unit of cooperative work on the coordinator thread. It runs in slices bounded by a budget in
// microseconds and keeps what it was doing in a stack of resumable frames between slices.
class Task : public std::enable_shared_from_this<Task> {
public:
    // Zero stands for "no deadline"; real clock readings never equal it.
    static constexpr int64_t kNoDeadline = 0;
    // How deep script calls may nest on one task unless configured otherwise.
    static constexpr uint32_t kDefaultMaxCallDepth = 100000;
    // The budget that runs a task to completion, driving the other active tasks from inside.
    static constexpr int64_t kRunToCompletion = -2;

    virtual bool runTimeslice_(int64_t availableMicroseconds);
    virtual ~Task();
    virtual bool areNestedFunctionStatesActive() const;
    virtual void exit();
    virtual void forceTimesliceCompleted();
    virtual std::shared_ptr<InputStream> getInputStream();
    // Where the task's scripts write: the output side of the nearest prompted stream of the task or
    // its parents, else the coordinator's standard output. Never makes a console stream.
    virtual std::shared_ptr<OutputStream> getOutputStream();
    virtual bool getIsExitRequested() const { return fIsExitRequested; }
    virtual bool getIsRunningTimeslice() const { return fIsRunningTimeslice; }
    virtual bool getIsTaskCompleted() const { return fIsTaskCompleted; }
    virtual bool getIsWaitingForInput() const { return fIsWaitingForInput; }
    virtual const std::string& getName() const { return fName; }
    virtual std::shared_ptr<Task> getParentTask() const { return fParentTask.lock(); }
    // The nearest task, this one or a parent, that runs a request's script for another coordinator
    // or a data request; null when there is none. Each lookup is made once and kept.
    std::shared_ptr<Task> getParentCallNodeAsFunctionForDataReplyTask();
    std::shared_ptr<Task> getParentEvalThenSendMessageTask();
    std::shared_ptr<Task> getParentHandleDataRequestTask();
    virtual uint64_t getParsingNestLevel() const { return fParsingNestLevel; }
    virtual const std::string& getQueueName() const { return fQueueName; }
    virtual std::shared_ptr<IOMNode> getRetValNode();
    virtual bool getRetValBool() const { return fRetValBool; }
    virtual uint64_t getTaskId() const { return fTaskId; }
    virtual bool handleChildCompletion(const std::shared_ptr<Task>& childTask);
    virtual bool handleCompletion();
    virtual bool isIdle() const;
    virtual bool isTryingToYield() { return isSliceOver(); }
    // The question every resumable step asks, inline: most answers need neither the clock nor a call.
    bool isSliceOver()
    {
        if (fIsTimedOut || fIsTimesliceCompleted) return true;
        // Without a deadline (a run to completion with no time-out) the clock has nothing to decide.
        if (fTimeoutDeadline == kNoDeadline && fTimesliceDeadline == kNoDeadline) return false;
        // Reading the clock costs as much as hundreds of steps of a script: it is read on every
        // kClockReadInterval-th question only, which lets a slice overrun by some microseconds at most.
        if ((++fYieldQuestionCount & (kClockReadInterval - 1)) != 0) return false;
        return isDeadlineReached();
    }
    // After a step that may have been long (a call run at once), the next question reads the clock.
    void askClockNext() { fYieldQuestionCount |= kClockReadInterval - 1; }
    virtual AsyncIOType popInteractionLevel();
    virtual bool pushInteractionLevel(AsyncIOType level);
    virtual bool releaseFunctionState(const OMFunctionState* state);
    virtual bool runTimeslice(int64_t availableMicroseconds);
    virtual bool runToCompletion();
    virtual bool registerChildTask(const std::shared_ptr<Task>& childTask);
    virtual void registerParentTask(const std::shared_ptr<Task>& parentTask) { fParentTask = parentTask; }
    virtual bool setIsExitRequested(bool value);
    virtual bool setIsExplicitCompletionFlagged(bool value);
    virtual bool setIsExplicitCompletionNeeded(bool value);
    virtual void setIsStayResident(bool value) { fIsStayResident = value; }
    virtual void setIsWaitingForInput(bool value) { fIsWaitingForInput = value; }
    virtual bool setName(const std::string& name);
    virtual void setRetValNode(const std::shared_ptr<IOMNode>& node);
    virtual void setTimesliceCompleted() { fIsTimesliceCompleted = true; }
    virtual void timeslice() = 0;
    virtual bool updateParsingNestLevel(int step);
    virtual bool usesAsyncIO();

    // The frame stack of resumable calls.
    std::shared_ptr<OMFunctionState> getLockedFunctionState();
    void lockFunctionState(std::shared_ptr<OMFunctionState> state);
    // The same hand-out without touching the record's reference count: the resumable-call
    // helper's hot path. The task keeps owning the record.
    OMFunctionState* lockNextFunctionState()
    {
        if (fLockedFunctionStateCount >= fFunctionStates.size()) return nullptr;
        return fFunctionStates[fLockedFunctionStateCount++].get();
    }

    // Script calls under way on this task's frames. enterScriptCall counts one more, or answers
    // false (counting nothing) when that would pass the limit: the outermost call is not nested
    // in another, so a limit of N lets N + 1 calls be under way.
    bool enterScriptCall()
    {
        if (fScriptCallDepth > fMaxCallDepth) return false;
        ++fScriptCallDepth;
        return true;
    }
    void leaveScriptCall()
    {
        if (fScriptCallDepth > 0) --fScriptCallDepth;
    }
    uint32_t getScriptCallDepth() const { return fScriptCallDepth; }
    static void setMaxCallDepth(uint32_t depth) { fMaxCallDepth = depth; }
    static uint32_t getMaxCallDepth() { return fMaxCallDepth; }

    bool getIsTimedOut() const { return fIsTimedOut; }
    bool getIsTerminationPending() const { return fIsTerminationPending; }
    void setIsTerminationPending(bool value) { fIsTerminationPending = value; }
    size_t getChildTaskCount() const { return fChildTasks.size(); }
    int64_t getLastTimesliceEnd() const { return fLastTimesliceEnd; }
    size_t getFunctionStateCount() const { return fFunctionStates.size(); }
    AsyncIOType getInteractionLevel() const { return fInteractionLevel; }

    // The program around the tasks; it stays installed for the life of the process.
    static void setHost(ITaskHost* host) { fHost = host; }
    static ITaskHost* getHost() { return fHost; }
    static bool registerTask(const std::shared_ptr<Task>& task);
    static bool deregisterTask(uint64_t id);
    static std::shared_ptr<Task> getTaskById(uint64_t id);
    static std::shared_ptr<Task> getTaskByName(const std::string& name);
    static bool startTask(const std::shared_ptr<Task>& task);
    static bool queueTask(const std::string& queueName, const std::shared_ptr<Task>& task);
    static bool runActiveTasks(int64_t& availableMicroseconds);

    static const std::vector<std::shared_ptr<Task>>& getActiveTasks() { return fActiveTasks; }
    static size_t getTaskCount() { return fTasksById.size(); }
    static size_t getQueueCount() { return fTaskQueues.size(); }
    // True once when a slice has ended because its time ran out since the last call: busy work
    // that the event loop must not throttle.
    static bool takeSliceBudgetExhausted();
    // Drops every task; used at tear-down so that no task outlives the coordinator.
    static void deregisterAllTasks();

    // A run-time fault that a person caused in a script (an unknown name, say), with where it
    // stands in the source: a stream's id and a position in it (sourceId 0 when not known).
    struct Fault {
        std::string message;
        uint64_t sourceId = 0;
        uint64_t pos = 0;
    };
    // A task that reports faults (the read-eval loop) collects the first one met by itself or by
    // the tasks it started, until it takes it.
    void setCollectsFaults(bool value) { fCollectsFaults = value; }
    // The collecting task above the one running now, if it has no fault yet; else null.
    static Task* getFaultCollector();
    void keepFault(Fault fault)
    {
        fFault = std::move(fault);
        fHasFault = true;
    }
    bool takeFault(Fault& fault);

protected:
    Task(const char* name, int64_t timeoutMicroseconds, std::shared_ptr<InputStream> inputStream);

    std::unordered_map<uint64_t, std::shared_ptr<Task>> fChildTasks;
    std::vector<std::shared_ptr<OMFunctionState>> fFunctionStates;
    bool fParentCallNodeAsFunctionForDataReplyTaskKnown = false;
    bool fParentEvalThenSendMessageTaskKnown = false;
    bool fParentHandleDataRequestTaskKnown = false;
    std::shared_ptr<InputStream> fInputStream;
    bool fIsWaitingForInput = true;
    AsyncIOType fInteractionLevel = AsyncIOType::Inherit;
    std::vector<AsyncIOType> fInteractionLevelStack;
    bool fIsExitRequested = false;
    bool fIsExplicitCompletionFlagged = false;
    bool fIsExplicitCompletionNeeded = false;
    bool fIsRunningTimeslice = false;
    int64_t fLastTimesliceEnd = kNoDeadline;
    bool fIsStayResident = false;
    bool fIsTaskCompleted = false;
    bool fIsTimesliceEntered = false;
    bool fIsTimedOut = false;
    bool fIsTerminationPending = false;
    bool fIsTimesliceCompleted = false;
    bool fIsSleepRequested = false;
    uint64_t fLockedFunctionStateCount = 0;
    // isTryingToYield reads the clock on every kClockReadInterval-th call (a power of two).
    static constexpr uint32_t kClockReadInterval = 256;
    uint32_t fYieldQuestionCount = 0;
    // A slice begins by re-entering the frames it left (in a deep recursion, that takes long) and
    // ends by leaving them again: its first clock reading tells how long re-entering took, and
    // the slice goes on for kResumeShare times that at least, so that resuming costs a fraction
    // of the work it makes room for.
    // Only so many frames that re-entering them takes a noticeable time count.
    static constexpr int64_t kResumeShare = 4;
    static constexpr size_t kLongResume = 1024;
    int64_t fSliceStart = kNoDeadline;
    bool fIsSliceClockRead = false;
    uint32_t fScriptCallDepth = 0;
    // The clock reading of isSliceOver: marks the task timed out or its slice completed.
    bool isDeadlineReached();
    std::string fName;
    std::weak_ptr<Task> fParentTask;
    // Set by registerChildTask: the parent then waits for this task and hears of its completion.
    bool fIsRegisteredChild = false;
    std::weak_ptr<Task> fParentCallNodeAsFunctionForDataReplyTask;
    std::weak_ptr<Task> fParentEvalThenSendMessageTask;
    std::weak_ptr<Task> fParentHandleDataRequestTask;
    uint64_t fParsingNestLevel = 0;
    std::string fQueueName;
    bool fRetValBool = false;
    std::shared_ptr<IOMNode> fRetValNode;
    uint64_t fTaskId = 0;
    int64_t fTimeoutDeadline = kNoDeadline;
    int64_t fTimeoutMicroseconds = -2;
    int64_t fTimesliceDeadline = kNoDeadline;

private:
    // The walk of the three lookups above: the first task of that class name, this one first.
    std::shared_ptr<Task> findParentTaskNamed(const char* className, bool& isKnown,
                                              std::weak_ptr<Task>& found);
    bool runOneLoopStep(int64_t availableMicroseconds);
    void runChildrenFromInside();

    static constinit inline ITaskHost* fHost = nullptr;
    static constinit inline uint32_t fMaxCallDepth = kDefaultMaxCallDepth;
    static std::unordered_map<uint64_t, std::shared_ptr<Task>> fTasksById;
    static std::unordered_map<std::string, uint64_t> fTaskIdsByName;
    static std::map<std::string, std::vector<std::shared_ptr<Task>>> fTaskQueues;
    static std::vector<std::shared_ptr<Task>> fActiveTasks;
    static uint64_t fRunActiveTasksNestLevel;
    // The task whose slice runs now (the innermost one when slices nest).
    static constinit inline Task* fRunningTask = nullptr;
    bool fCollectsFaults = false;
    bool fHasFault = false;
    Fault fFault;
    static uint64_t fLastTaskId;
    static bool fSliceBudgetExhausted;
};

}  // namespace Qfn
