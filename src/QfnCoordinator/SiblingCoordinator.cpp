#include "QfnCoordinator/SiblingCoordinator.h"

#include "QfnAddress/LocalUnresolvedAddress.h"
#include "QfnCoordinator/InternalCoordinator.h"
#include "QfnData/Data_abstract.h"
#include "QfnLogger/Check.h"
#include "QfnLogger/Log.h"
#include "QfnMessage/IMessage.h"
#include "QfnMessage/Message.h"
#include "QfnObject/ClassSupport.h"
#include "QfnService/IServiceHost.h"
#include "QfnTask/Task.h"
#include "QfnTask/YieldingFrame.h"
#include "QfnUtils/Clock.h"
#include "QfnUtils/Dirs.h"
#include "QfnUtils/Pipes.h"
#include "QfnUtils/Process.h"
#include "QfnUtils/Utils.h"

namespace Qfn {

const std::string SiblingCoordinator::TYPENAME = "SiblingCoordinator";
const std::string SiblingCoordinator::SERVICE_NAME = "net.quillfern.service.siblingCoordinator";
std::map<std::string, std::weak_ptr<IObject>> SiblingCoordinator::fSiblings;
int64_t SiblingCoordinator::fNextActiveScan = 0;
int64_t SiblingCoordinator::fNextNamedPipeScan = 0;
int64_t SiblingCoordinator::fNextConfigScan = 0;

namespace {

const std::string kCoordinatorNamePrefix = "net.quillfern.coordinator.";
const std::string kMainCoordinatorName = "net.quillfern.coordinator.main";

// True once per interval: the scans run on every round but look only this often.
bool isScanDue(int64_t& next, int64_t intervalMicroseconds)
{
    const int64_t now = Clock::nowNanoseconds();
    if (now < next) return false;
    next = now + intervalMicroseconds * 1000;
    return true;
}

}  // namespace

const char* SiblingCoordinator::getStateName(SiblingState state)
{
    switch (state) {
        case SiblingState::IDLE: return "IDLE";
        case SiblingState::SENDING: return "SENDING";
        case SiblingState::LAUNCHED: return "LAUNCHED";
        case SiblingState::RUNNING: return "RUNNING";
        case SiblingState::INACTIVE: return "INACTIVE";
        case SiblingState::INACTIVE_KEEP_MESSAGES: return "INACTIVE_KEEP_MESSAGES";
    }
    return "unexpected state";
}

std::shared_ptr<IObject> SiblingCoordinator::factoryFromParentName(std::shared_ptr<IObject> parentObj,
                                                                   const std::string& siblingName)
{
    std::shared_ptr<IObject> retVal;
    try {
        do {
            // clang-format off
            SANITY_CHECK(! siblingName.empty());
            // clang-format on
            ASSIGN_TYPED(IService, parent, parentObj);
            ASSIGN_TYPED(SiblingCoordinator, sibling, ClassSupport::makeEmpty<SiblingCoordinator>());
            sibling->fSiblingName = siblingName;
            sibling->fNamedPipePath = InternalCoordinator::getPipeFolderPath() + siblingName;
            SANITY_CHECK(parent->attachChildObj(sibling));
            fSiblings[siblingName] = sibling;
            LOG_NOTE(Utils::stringWithFormat("new sibling coordinator %s", siblingName.c_str()));
            retVal = sibling;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<IObject> SiblingCoordinator::getSiblingCoordinator(const std::string& siblingName)
{
    std::shared_ptr<IObject> retVal;
    try {
        do {
            auto found = fSiblings.find(siblingName);
            if (found != fSiblings.end()) {
                retVal = found->second.lock();
                if (retVal) break;
                fSiblings.erase(found);
            }
            LOG_NOTE("scanning for siblings");
            scanForSiblings();
            found = fSiblings.find(siblingName);
            if (found != fSiblings.end()) retVal = found->second.lock();
            if (!retVal) LOG_NOTE(Utils::stringWithFormat("cannot find sibling %s", siblingName.c_str()));
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool SiblingCoordinator::isValidSiblingName(const std::string& siblingName)
{
    return siblingName.size() > kCoordinatorNamePrefix.size() &&
           siblingName.compare(0, kCoordinatorNamePrefix.size(), kCoordinatorNamePrefix) == 0 &&
           siblingName.find_first_of("/\\") == std::string::npos && siblingName != InternalCoordinator::getName();
}

bool SiblingCoordinator::isRunning(const std::string& siblingName)
{
    return InternalCoordinator::getPublishedPid(siblingName) != 0;
}

bool SiblingCoordinator::hasQuit(const std::string& siblingName)
{
    return !isRunning(siblingName);
}

bool SiblingCoordinator::isKnownSibling(const std::string& siblingName)
{
    auto found = fSiblings.find(siblingName);
    return found != fSiblings.end() && !found->second.expired();
}

bool SiblingCoordinator::registerSibling(const std::string& siblingName)
{
    bool retVal = false;
    try {
        do {
            if (!isValidSiblingName(siblingName)) break;
            retVal = true;
            if (isKnownSibling(siblingName)) break;
            std::shared_ptr<IObject> coordinator = InternalCoordinator::factory();
            retVal = coordinator && factoryFromParentName(coordinator, siblingName) != nullptr;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool SiblingCoordinator::scanForSiblings()
{
    bool retVal = false;
    try {
        fNextActiveScan = fNextNamedPipeScan = fNextConfigScan = 0;
        bool result = scanForActiveSiblings();
        if (InternalCoordinator::isMainCoordinator()) {
            result = scanForNamedPipeSiblings() && result;
            result = scanForConfigSiblings() && result;
        }
        retVal = result;
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// Proxies of processes that have gone are let go, unless they hold messages or the configuration
// can launch them again.
bool SiblingCoordinator::scanForActiveSiblings()
{
    bool retVal = false;
    try {
        do {
            retVal = true;
            if (!isScanDue(fNextActiveScan, InternalCoordinator::getScanActiveSiblingsIntervalMicroseconds()))
                break;
            std::vector<std::shared_ptr<SiblingCoordinator>> gone;
            for (auto entry = fSiblings.begin(); entry != fSiblings.end();) {
                auto sibling = std::dynamic_pointer_cast<SiblingCoordinator>(entry->second.lock());
                if (!sibling) {
                    entry = fSiblings.erase(entry);
                    continue;
                }
                if (sibling->fMessageQueue.empty() && sibling->fdNamedPipe == 0 &&
                    sibling->fSiblingState != SiblingState::LAUNCHED && sibling->getLaunchArgs().empty() &&
                    !isRunning(entry->first))
                    gone.push_back(sibling);
                ++entry;
            }
            for (const std::shared_ptr<SiblingCoordinator>& sibling : gone) {
                LOG_NOTE(Utils::stringWithFormat("discarding %s", sibling->fSiblingName.c_str()));
                fSiblings.erase(sibling->fSiblingName);
                if (auto parent = std::dynamic_pointer_cast<IService>(sibling->getParentObj()))
                    parent->detachChildObj(sibling);
            }
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// Every running coordinator whose pipe marker is in the pipe folder gets a proxy on main.
bool SiblingCoordinator::scanForNamedPipeSiblings()
{
    bool retVal = false;
    try {
        do {
            retVal = true;
            if (!isScanDue(fNextNamedPipeScan,
                           InternalCoordinator::getScanNamedPipeSiblingsIntervalMicroseconds()))
                break;
            for (const std::string& name : Dirs::scanDir(InternalCoordinator::getPipeFolderPath())) {
                if (!isValidSiblingName(name) || isKnownSibling(name) || !isRunning(name)) continue;
                if (!registerSibling(name))
                    LOG_WARNING(Utils::stringWithFormat("failed to register sibling %s", name.c_str()));
            }
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool SiblingCoordinator::scanForConfigSiblings()
{
    bool retVal = false;
    try {
        do {
            retVal = true;
            if (!isScanDue(fNextConfigScan, InternalCoordinator::getScanConfigSiblingsIntervalMicroseconds()))
                break;
            for (const std::string& name : InternalCoordinator::getSiblingsFromConfig()) {
                if (isKnownSibling(name) || name == InternalCoordinator::getName()) continue;
                if (!registerSibling(name))
                    LOG_WARNING(Utils::stringWithFormat("failed to register sibling %s", name.c_str()));
            }
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

const std::vector<std::string>& SiblingCoordinator::getLaunchArgs() const
{
    return InternalCoordinator::getLaunchArgs(fSiblingName);
}

bool SiblingCoordinator::launchIfNotRunning()
{
    bool retVal = false;
    try {
        do {
            const std::vector<std::string>& launchArgs = getLaunchArgs();
            if (isRunning(fSiblingName) || (!launchArgs.empty() && Process::getProcessId(launchArgs) != 0)) {
                LOG_NOTE("already running or launching");
                retVal = true;
                break;
            }
            if (!InternalCoordinator::isMainCoordinator() && fSiblingName != kMainCoordinatorName) {
                LOG_NOTE(Utils::stringWithFormat("We're not main coordinator, so cannot launch: %s",
                                                 fSiblingName.c_str()));
                break;
            }
            if (launchArgs.empty()) {
                LOG_NOTE(Utils::stringWithFormat(InternalCoordinator::isMainCoordinator()
                                                     ? "Cannot launch - no launchArgs: %s"
                                                     : "Cannot launch main coordinator - no launchArgs: %s",
                                                 fSiblingName.c_str()));
                break;
            }
            retVal = Process::launchProcess(launchArgs, fSiblingName) != 0;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// A message from this coordinator to the sibling's coordinator, queued here.
bool SiblingCoordinator::sendToSibling(OpCode opCode)
{
    bool retVal = false;
    try {
        do {
            std::shared_ptr<IObject> coordinator = InternalCoordinator::factory();
            SANITY_CHECK(coordinator);
            std::shared_ptr<IObject> receiver;
            ASSIGN(receiver, LocalUnresolvedAddress::factoryFromCoordinatorNameIndices(fSiblingName, ""));
            std::shared_ptr<IObject> message;
            ASSIGN(message,
                   Message::factoryFromSenderDestinationAddressOpCodePayloadStr(coordinator, receiver, opCode, "{}"));
            SANITY_CHECK(relayOutgoingMessage(message));
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool SiblingCoordinator::ping()
{
    return sendToSibling(OpCode::PING);
}

// Asks the sibling to end.
bool SiblingCoordinator::terminate()
{
    return sendToSibling(OpCode::TERMINATE);
}

bool SiblingCoordinator::relayIncomingMessage(std::shared_ptr<const IObject> messageObj)
{
    IServiceHost* host = IServiceHost::get();
    return host && host->queueMessage(std::move(messageObj));
}

bool SiblingCoordinator::relayOutgoingMessage(std::shared_ptr<const IObject> messageObj)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(messageObj);
            LOG_NOTE(Utils::stringWithFormat("Relaying outgoing message, named pipe path = %s", path()));
            if (fMessageQueue.size() >= kMaxHeldMessages) {
                LOG_WARNING(Utils::stringWithFormat(
                    "sibling %s unreachable: dropping its oldest held message", fSiblingName.c_str()));
                fMessageQueue.pop_front();
            }
            fMessageQueue.push_back(std::move(messageObj));
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// A proxy is done when it holds nothing, or when its sibling is given up for now: held messages
// do not keep a terminating process alive for the minutes they may wait.
bool SiblingCoordinator::isIdle() const
{
    if (!Service_abstract::isIdle()) return false;
    if (fMessageQueue.empty()) return fSiblingState != SiblingState::SENDING;
    return fSiblingState == SiblingState::INACTIVE || fSiblingState == SiblingState::INACTIVE_KEEP_MESSAGES;
}

bool SiblingCoordinator::deregisterObject()
{
    closeWritePipe();
    fMessageQueue.clear();
    auto found = fSiblings.find(fSiblingName);
    if (found != fSiblings.end() && (found->second.expired() || found->second.lock().get() == this))
        fSiblings.erase(found);
    return Service_abstract::deregisterObject();
}

void SiblingCoordinator::timeslice_yielding(const std::shared_ptr<Task>& task, bool& completed)
{
    struct LocalVariableState : virtual OMFunctionState {
        bool result = false;
    };
    enum : unsigned { CHILDREN = 1 };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) completed = false;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0:
                    s.fState = CHILDREN;
                    break;
                    YIELDING_CALL(CHILDREN, Service_abstract::timeslice_yielding(task, s.result));
                case resumeAfter(CHILDREN):
                    completed = step() && s.result;
                    s.fState = kFinished;
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

void SiblingCoordinator::logEntry(const char* line)
{
    if (fPreviousSiblingState == static_cast<int>(fSiblingState)) return;
    fPreviousSiblingState = static_cast<int>(fSiblingState);
    LOG_NOTE(line);
}

bool SiblingCoordinator::step()
{
    bool retVal = false;
    try {
        do {
            // The marker file is read only in the states that ask for it: a running sibling's step
            // comes on every round.
            switch (fSiblingState) {
                case SiblingState::INACTIVE_KEEP_MESSAGES:
                    retVal = stepInactive(true, Pipes::namedPipeExists(fNamedPipePath));
                    break;
                case SiblingState::INACTIVE:
                    retVal = stepInactive(false, Pipes::namedPipeExists(fNamedPipePath));
                    break;
                case SiblingState::SENDING:
                    retVal = stepSending();
                    break;
                case SiblingState::RUNNING:
                    retVal = stepRunning();
                    break;
                case SiblingState::IDLE:
                case SiblingState::LAUNCHED:
                    retVal = stepIdleOrLaunched(Pipes::namedPipeExists(fNamedPipePath));
                    break;
            }
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool SiblingCoordinator::stepInactive(bool isKeepingMessages, bool doesPipeExist)
{
    logEntry(isKeepingMessages ? "siblingState::INACTIVE_KEEP_MESSAGES" : "siblingState::INACTIVE");
    if (doesPipeExist) {
        LOG_NOTE(Utils::stringWithFormat(
            isKeepingMessages
                ? "pipe reappeared. Switch from SiblingState::INACTIVE_KEEP_MESSAGES to SiblingState::RUNNING, "
                  "named pipe path = %s"
                : "pipe reappeared. Switch from SiblingState::INACTIVE to SiblingState::RUNNING, named pipe "
                  "path = %s",
            path()));
        fSendRetries = 0;
        switchTo(SiblingState::RUNNING);
        return true;
    }
    if (!isKeepingMessages) {
        dropMessages();
        return true;
    }
    if (Clock::nowNanoseconds() > fDropDeadline) {
        LOG_NOTE(Utils::stringWithFormat("inactive for a long time. Switch from SiblingState::INACTIVE_KEEP_MESSAGES "
                                         "to SiblingState::INACTIVE, named pipe path = %s",
                                         path()));
        dropMessages();
        switchTo(SiblingState::INACTIVE);
    }
    return true;
}

bool SiblingCoordinator::stepSending()
{
    logEntry("siblingState::SENDING");
    switch (Pipes::getWritePipeStatus(fdNamedPipe)) {
        case Pipes::WriteStatus::Open:
            break;
        case Pipes::WriteStatus::Empty:
            LOG_NOTE("siblingState::SENDING canGoIdle because buffer empty");
            if (!fMessageQueue.empty()) fMessageQueue.pop_front();
            fLastSentNanoseconds = Clock::nowNanoseconds();
            fSendRetries = 0;
            switchTo(SiblingState::RUNNING);
            if (IServiceHost* host = IServiceHost::get()) host->reportMessagingActivityInEventLoop();
            break;
        case Pipes::WriteStatus::None:
            LOG_NOTE("siblingState::SENDING canGoIdle because no writePipe");
            fdNamedPipe = 0;
            switchToInactiveKeepMessages();
            break;
        case Pipes::WriteStatus::Closed:
            LOG_NOTE("siblingState::SENDING canGoIdle because writePipe is closed");
            closeWritePipe();
            switchToInactiveKeepMessages();
            break;
        case Pipes::WriteStatus::Error:
            LOG_NOTE("siblingState::SENDING canGoIdle because error state");
            closeWritePipe();
            switchToInactiveKeepMessages();
            break;
    }
    return true;
}

bool SiblingCoordinator::stepIdleOrLaunched(bool doesPipeExist)
{
    logEntry(fSiblingState == SiblingState::IDLE ? "siblingState::IDLE" : "siblingState::LAUNCHED");
    if (doesPipeExist && Pipes::namedPipeIsActive(fNamedPipePath)) {
        fLaunchRetries = 0;
        fSendRetries = 0;
        LOG_NOTE(Utils::stringWithFormat(
            fMessageQueue.empty()
                ? "switch from SiblingState::IDLE or SiblingState::LAUNCHED to SiblingState::RUNNING, named pipe "
                  "path = %s"
                : "has pending message. Switch from SiblingState::IDLE or SiblingState::LAUNCHED to "
                  "SiblingState::RUNNING, named pipe path = %s",
            path()));
        switchTo(SiblingState::RUNNING);
        return true;
    }
    if (fSiblingState == SiblingState::IDLE && !fMessageQueue.empty()) {
        auto message = std::dynamic_pointer_cast<const IMessage>(fMessageQueue.front());
        if (message && Message::needsToLaunchForOpCode(message->getOpCode())) {
            LOG_NOTE(Utils::stringWithFormat("message is pending, named pipe path = %s", path()));
            // The first launch counts as a try: four in all before the sibling is given up.
            return launchStep("switch to SiblingState::LAUNCHED, resetting pipe timeout, fLaunchRetries = %d, "
                              "named pipe path = %s",
                              "switch to SiblingState::INACTIVE_KEEP_MESSAGES because cannot launch, named pipe "
                              "path = %s");
        }
        LOG_NOTE(Utils::stringWithFormat("Switching to SiblingState::IDLE. Don't need to launch for opCode = %d, "
                                         "erasing message from queue, named pipe path = %s",
                                         message ? static_cast<int>(message->getOpCode()) : -1, path()));
        fMessageQueue.pop_front();
        return true;
    }
    if (fSiblingState == SiblingState::LAUNCHED && !doesPipeExist && isPipeCreationTimedOut()) {
        LOG_NOTE(Utils::stringWithFormat("isPipeCreationTimedOut(), named pipe path = %s", path()));
        if (getLaunchArgs().empty() || fLaunchRetries > MAX_LAUNCH_RETRIES) {
            LOG_NOTE(Utils::stringWithFormat("No launchArgs or too many tries. Switch to "
                                             "SiblingState::INACTIVE_KEEP_MESSAGES, fLaunchRetries = %d, named "
                                             "pipe path = %s",
                                             fLaunchRetries, path()));
            switchToInactiveKeepMessages();
            return true;
        }
        LOG_NOTE(Utils::stringWithFormat("isPipeCreationTimedOut(), retrying, named pipe path = %s", path()));
        return launchStep("After launchIfNotRunning(), switch to SiblingState::LAUNCHED, fLaunchRetries = %d, "
                          "named pipe path = %s",
                          "Failed launchIfNotRunning(). Switch to SiblingState::INACTIVE_KEEP_MESSAGES because "
                          "cannot launch, named pipe path = %s");
    }
    if (fMessageQueue.empty() && !doesPipeExist && fSiblingState != SiblingState::IDLE) {
        LOG_NOTE(Utils::stringWithFormat("no message, switch to SiblingState::IDLE, named pipe path = %s", path()));
        switchTo(SiblingState::IDLE);
    }
    return true;
}

// Launches and counts the try: then the pipe is waited for anew, or, when no launch was possible, the
// messages are kept for a while. The two lines say which of the two it was (number of tries, path).
bool SiblingCoordinator::launchStep(const char* launchedLine, const char* failedLine)
{
    ++fLaunchRetries;
    if (launchIfNotRunning()) {
        LOG_NOTE(Utils::stringWithFormat(launchedLine, fLaunchRetries, path()));
        resetNamedPipeTimeout();
        switchTo(SiblingState::LAUNCHED);
    } else {
        LOG_NOTE(Utils::stringWithFormat(failedLine, path()));
        switchToInactiveKeepMessages();
    }
    return true;
}

bool SiblingCoordinator::stepRunning()
{
    logEntry("siblingState::RUNNING");
    // Whether the sibling still runs is read from its pid file and the process table, ten times a
    // second at most: this step comes on every round.
    const int64_t now = Clock::nowNanoseconds();
    const bool isRunningCheckDue = now >= fNextRunningCheckNanoseconds;
    if (isRunningCheckDue) fNextRunningCheckNanoseconds = now + kRunningCheckIntervalNanoseconds;
    if (isRunningCheckDue && InternalCoordinator::isMainCoordinator() && !isRunning(fSiblingName)) {
        LOG_NOTE(Utils::stringWithFormat(
            "fSiblingState == SiblingState::RUNNING && ! isRunning(), named pipe path = %s", path()));
        closeWritePipe();
        if (!deleteNamedPipe()) LOG_CHECK_FAILED("SANITY_CHECK", "deleteNamedPipe()");
        switchTo(SiblingState::IDLE);
        return true;
    }
    if (fMessageQueue.empty()) {
        // The pipe stays open while messages keep coming: a connection per message would cost more
        // than the message. It closes once nothing was sent for a while.
        if (fdNamedPipe != 0 && Clock::nowNanoseconds() - fLastSentNanoseconds > kPipeLingerNanoseconds) {
            LOG_NOTE(Utils::stringWithFormat("closing pipe %d, named pipe path = %s", fdNamedPipe, path()));
            closeWritePipe();
            if (IServiceHost* host = IServiceHost::get()) host->reportMessagingActivityInEventLoop();
        }
        return true;
    }
    // Answers to the siblings leave only once this process takes no more requests.
    std::shared_ptr<IObject> coordinatorObj = InternalCoordinator::factory();
    auto coordinator = std::dynamic_pointer_cast<InternalCoordinator>(coordinatorObj);
    if (coordinator && coordinator->isHoldingSiblingResponsesForTermination()) {
        LOG_NOTE(Utils::stringWithFormat(
            "busy terminating. Holding back sibling responses until pipe disappears, named pipe path = %s",
            path()));
        return true;
    }
    if (fSendRetries > MAX_SEND_RETRIES) {
        LOG_NOTE(Utils::stringWithFormat("fSendRetries > MAX_SEND_RETRIES, named pipe path = %s", path()));
        closeWritePipe();
        deleteNamedPipe();
        fSendRetries = 0;
        if (launchIfNotRunning()) {
            LOG_NOTE(Utils::stringWithFormat(
                "switch to SiblingState::LAUNCHED, resetting pipe timeout, named pipe path = %s", path()));
            resetNamedPipeTimeout();
            switchTo(SiblingState::LAUNCHED);
        } else {
            LOG_NOTE(Utils::stringWithFormat(
                "switch to SiblingState::INACTIVE_KEEP_MESSAGES because cannot launch, named pipe path = %s",
                path()));
            switchToInactiveKeepMessages();
        }
        return true;
    }
    if (fdNamedPipe == 0) {
        fdNamedPipe = Pipes::openWriteNamedPipe(fNamedPipePath, InternalCoordinator::getPublishedPid(fSiblingName),
                                                fSiblingName);
        LOG_NOTE(Utils::stringWithFormat("fdNamedPipe was 0; attempting to opening new pipe = %d, named pipe path = %s",
                                         fdNamedPipe, path()));
        if (fdNamedPipe == 0) {
            ++fSendRetries;
            LOG_NOTE(Utils::stringWithFormat("fdNamedPipe is 0, fSendRetries = %d, named pipe path = %s",
                                             fSendRetries, path()));
            return true;
        }
    }
    const std::string serialized = Data_abstract::serializeToStr(fMessageQueue.front());
    LOG_NOTE(Utils::stringWithFormat("Writing to pipe, message = %s, named pipe path = %s", serialized.c_str(),
                                     path()));
    if (!serialized.empty() && Pipes::writeToNamedPipe(fdNamedPipe, serialized)) {
        LOG_NOTE(Utils::stringWithFormat("switch to SiblingState::SENDING, message = %s, named pipe path = %s",
                                         serialized.c_str(), path()));
        switchTo(SiblingState::SENDING);
        return true;
    }
    LOG_NOTE(Utils::stringWithFormat("cannot write to pipe, closing pipe. named pipe path = %s", path()));
    closeWritePipe();
    ++fSendRetries;
    LOG_NOTE(Utils::stringWithFormat("fdNamedPipe is now 0, fSendRetries = %d, named pipe path = %s", fSendRetries,
                                     path()));
    return true;
}

void SiblingCoordinator::switchToInactiveKeepMessages()
{
    fDropDeadline = Clock::nowNanoseconds() + InternalCoordinator::getMaxWaitMessageDropMicroseconds() * 1000;
    switchTo(SiblingState::INACTIVE_KEEP_MESSAGES);
}

bool SiblingCoordinator::deleteNamedPipe()
{
    return !Pipes::namedPipeExists(fNamedPipePath) || Pipes::deleteNamedPipe(fNamedPipePath);
}

bool SiblingCoordinator::closeWritePipe()
{
    if (fdNamedPipe == 0) return true;
    const bool closed = Pipes::closeNamedPipe(fdNamedPipe);
    fdNamedPipe = 0;
    return closed;
}

void SiblingCoordinator::dropMessages()
{
    if (fMessageQueue.empty()) return;
    LOG_NOTE(Utils::stringWithFormat("dropping %zu message(s) for %s", fMessageQueue.size(), fSiblingName.c_str()));
    fMessageQueue.clear();
}

void SiblingCoordinator::resetNamedPipeTimeout()
{
    fPipeCreationDeadline =
        Clock::nowNanoseconds() + InternalCoordinator::getInterCoordinatorPipeWaitTimeMicroseconds() * 1000;
}

bool SiblingCoordinator::isPipeCreationTimedOut() const
{
    return Clock::nowNanoseconds() > fPipeCreationDeadline;
}

}  // namespace Qfn
