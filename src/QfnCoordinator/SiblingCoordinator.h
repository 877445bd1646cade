#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "QfnMessage/OpCode.h"
#include "QfnService/Service_abstract.h"

namespace Qfn {

// What a sibling proxy is doing with the other coordinator.
enum class SiblingState : int {
    IDLE = 0,
    SENDING = 1,
    LAUNCHED = 2,
    RUNNING = 3,
    INACTIVE = 4,
    INACTIVE_KEEP_MESSAGES = 5,
};

// The proxy, inside this process, of another coordinator of this host: a child service of the
// coordinator that holds the messages routed to that coordinator, writes them into its named pipe,
// launches it when a message needs it, and gives up in measured steps.
class SiblingCoordinator : public virtual Service_abstract {
public:
    static const std::string TYPENAME;
    static const std::string SERVICE_NAME;
    // Messages held for one sibling at most; older ones are dropped with a warning beyond it.
    static constexpr size_t kMaxHeldMessages = 10000;
    static constexpr int MAX_SEND_RETRIES = 3;
    static constexpr int MAX_LAUNCH_RETRIES = 3;
    const std::string& typeName() const override { return TYPENAME; }
    const std::string& getServiceName() const override { return SERVICE_NAME; }

    // Makes the proxy of a sibling and attaches it to the parent (the coordinator).
    static std::shared_ptr<IObject> factoryFromParentName(std::shared_ptr<IObject> parentObj,
                                                          const std::string& siblingName);
    // The proxy of that name; empty when there is none, after a scan.
    static std::shared_ptr<IObject> getSiblingCoordinator(const std::string& siblingName);
    // A full coordinator name other than this process's own.
    static bool isValidSiblingName(const std::string& siblingName);
    // Whether a live process publishes that name; hasQuit is the opposite.
    static bool isRunning(const std::string& siblingName);
    static bool hasQuit(const std::string& siblingName);
    // Makes the proxy of a name unless it is known already.
    static bool registerSibling(const std::string& siblingName);
    // Whether a proxy of that name exists.
    static bool isKnownSibling(const std::string& siblingName);

    static bool scanForSiblings();
    // Each scan runs at most once per its configured interval.
    static bool scanForActiveSiblings();
    static bool scanForNamedPipeSiblings();
    static bool scanForConfigSiblings();

    bool launchIfNotRunning();
    bool ping();
    bool relayIncomingMessage(std::shared_ptr<const IObject> messageObj);
    bool relayOutgoingMessage(std::shared_ptr<const IObject> messageObj);
    const std::vector<std::string>& getLaunchArgs() const;
    bool terminate();
    void timeslice_yielding(const std::shared_ptr<Task>& task, bool& completed) override;
    bool isIdle() const override;
    bool deregisterObject() override;

    const std::string& getSiblingName() const { return fSiblingName; }
    const std::string& getNamedPipePath() const { return fNamedPipePath; }
    SiblingState getSiblingState() const { return fSiblingState; }
    int getLaunchRetries() const { return fLaunchRetries; }
    const std::deque<std::shared_ptr<const IObject>>& getHeldMessages() const { return fMessageQueue; }
    static const char* getStateName(SiblingState state);

private:
    friend struct ClassSupport;
    SiblingCoordinator() = default;
    ~SiblingCoordinator() override = default;

    bool sendToSibling(OpCode opCode);
    // One step of the state machine, taken after the children's slice.
    bool step();
    bool stepInactive(bool isKeepingMessages, bool doesPipeExist);
    bool stepSending();
    bool stepIdleOrLaunched(bool doesPipeExist);
    bool stepRunning();
    bool launchStep(const char* launchedLine, const char* failedLine);
    void switchToInactiveKeepMessages();
    void switchTo(SiblingState state) { fSiblingState = state; }
    void logEntry(const char* line);
    bool deleteNamedPipe();
    bool closeWritePipe();
    void dropMessages();
    void resetNamedPipeTimeout();
    bool isPipeCreationTimedOut() const;
    const char* path() const { return fNamedPipePath.c_str(); }

    std::string fSiblingName;
    std::string fNamedPipePath;
    int fdNamedPipe = 0;
    std::deque<std::shared_ptr<const IObject>> fMessageQueue;
    SiblingState fSiblingState = SiblingState::IDLE;
    // The state whose entry line was written last, so that each entry is told once.
    int fPreviousSiblingState = -1;
    int fSendRetries = 0;
    int fLaunchRetries = 0;
    int64_t fPipeCreationDeadline = 0;
    int64_t fDropDeadline = 0;
    // When the last message went out; the write pipe closes kPipeLingerNanoseconds after it.
    int64_t fLastSentNanoseconds = 0;
    static constexpr int64_t kPipeLingerNanoseconds = 100000000;
    int64_t fNextRunningCheckNanoseconds = 0;
    static constexpr int64_t kRunningCheckIntervalNanoseconds = 100000000;

    static std::map<std::string, std::weak_ptr<IObject>> fSiblings;
    static int64_t fNextActiveScan;
    static int64_t fNextNamedPipeScan;
    static int64_t fNextConfigScan;
};

}  // namespace Qfn
