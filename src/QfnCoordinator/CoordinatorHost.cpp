#include "QfnCoordinator/CoordinatorHost.h"

#include "QfnCoordinator/InternalCoordinator.h"
#include "QfnLogger/Check.h"
#include "QfnParser/model/OMStored.h"
#include "QfnParser/streams/IOStreamPrompted.h"
#include "QfnTask/Task.h"

namespace Qfn {

bool CoordinatorHost::install()
{
    static CoordinatorHost host;
    Task::setHost(&host);
    IScriptHost::set(&host);
    IAddressHost::set(&host);
    IServiceHost::set(&host);
    return true;
}

// A task asks on every slice; the first asking makes the coordinator, and none runs once it is gone.
bool CoordinatorHost::isAvailable()
{
    return InternalCoordinator::factory() != nullptr;
}

int64_t CoordinatorHost::getDefaultTimeoutMicroseconds()
{
    return InternalCoordinator::getDefaultTimeoutMicroseconds();
}

int64_t CoordinatorHost::getEventLoopMicroseconds()
{
    return InternalCoordinator::getEventLoopMicroseconds();
}

int64_t CoordinatorHost::getEventLoopSleepMicroseconds()
{
    return InternalCoordinator::getEventLoopSleepMicroseconds();
}

int64_t CoordinatorHost::getTimesliceMicroseconds()
{
    return InternalCoordinator::getInternalCoordinatorTimesliceMicroseconds();
}

std::shared_ptr<InputStream> CoordinatorHost::makeDefaultInputStream()
{
    std::shared_ptr<InputStream> retVal;
    try {
        do {
            ASSIGN(retVal, IOStreamPrompted::factory(InternalCoordinator::inputStreamFactory(),
                                                     InternalCoordinator::outputStreamFactory()));
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<OutputStream> CoordinatorHost::getDefaultOutputStream()
{
    return InternalCoordinator::outputStreamFactory();
}

std::shared_ptr<OutputStream> CoordinatorHost::getPromptedOutputStream(
    const std::shared_ptr<InputStream>& stream)
{
    auto prompted = std::dynamic_pointer_cast<IOStreamPrompted>(stream);
    return prompted ? prompted->getOutputStream() : nullptr;
}

std::shared_ptr<IOMNode> CoordinatorHost::makeBoolNode(bool value)
{
    return OMStored::factory(value);
}

const std::string& CoordinatorHost::getPrompt(int level)
{
    return InternalCoordinator::getPrompt(level);
}

bool CoordinatorHost::isInteractive()
{
    return InternalCoordinator::getIsInteractive();
}

int64_t CoordinatorHost::getConsoleEcho()
{
    return InternalCoordinator::getConsoleEcho();
}

bool CoordinatorHost::isTerminating()
{
    return InternalCoordinator::isTerminating();
}

bool CoordinatorHost::terminate()
{
    bool retVal = false;
    try {
        do {
            ASSIGN_TYPED(InternalCoordinator, internalCoordinator, InternalCoordinator::factory());
            retVal = internalCoordinator->terminate();
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<OMStored> CoordinatorHost::buildSysInfo()
{
    return InternalCoordinator::buildSysInfo();
}

bool CoordinatorHost::setDataRequestCallBack(const std::shared_ptr<OMScope>& scope,
                                             const std::string& callBackID,
                                             const std::shared_ptr<OMStored>& callBackFunction,
                                             const std::string& name)
{
    return InternalCoordinator::setDataRequestCallBack(scope, callBackID, callBackFunction, name);
}

namespace {

const std::string kNoName;

std::shared_ptr<InternalCoordinator> internalCoordinator()
{
    return std::dynamic_pointer_cast<InternalCoordinator>(InternalCoordinator::factory());
}

}  // namespace

GUIDClass* CoordinatorHost::createGUID()
{
    std::shared_ptr<InternalCoordinator> coordinator = internalCoordinator();
    return coordinator ? coordinator->createGUID() : nullptr;
}

const std::string& CoordinatorHost::getName()
{
    return InternalCoordinator::getName();
}

bool CoordinatorHost::isMainCoordinator()
{
    return InternalCoordinator::isMainCoordinator();
}

std::shared_ptr<const IObject> CoordinatorHost::resolveAddress(
    const std::shared_ptr<const IObject>& addressObj)
{
    std::shared_ptr<InternalCoordinator> coordinator = internalCoordinator();
    return coordinator ? coordinator->resolveAddress(addressObj) : nullptr;
}

bool CoordinatorHost::isLocalHost(const std::string& hostName)
{
    return InternalCoordinator::isLocalHost(hostName);
}

bool CoordinatorHost::isKnownSiblingCoordinator(const std::string& coordinatorName)
{
    return InternalCoordinator::isKnownSiblingCoordinator(coordinatorName);
}

GUIDClass* CoordinatorHost::getUpstreamCoordinatorGUID(const std::string& hostName,
                                                       const std::string& coordinatorName)
{
    std::shared_ptr<InternalCoordinator> coordinator = internalCoordinator();
    return coordinator ? coordinator->getUpstreamCoordinatorGUID(hostName, coordinatorName) : nullptr;
}

const std::string& CoordinatorHost::getHostName(GUIDClass* coordinatorGUID)
{
    std::shared_ptr<InternalCoordinator> coordinator = internalCoordinator();
    return coordinator ? coordinator->getHostName(coordinatorGUID) : kNoName;
}

const std::string& CoordinatorHost::getCoordinatorName(GUIDClass* coordinatorGUID)
{
    std::shared_ptr<InternalCoordinator> coordinator = internalCoordinator();
    return coordinator ? coordinator->getCoordinatorName(coordinatorGUID) : kNoName;
}

std::string CoordinatorHost::resolveUrlAlias(const std::string& url)
{
    return InternalCoordinator::resolveUrlAlias(url);
}

bool CoordinatorHost::registerCoordinatorAlias(const std::string& alias, const std::string& coordinatorName)
{
    return InternalCoordinator::registerCoordinatorAlias(alias, coordinatorName);
}

const std::string& CoordinatorHost::resolveCoordinatorAlias(const std::string& coordinatorName)
{
    return InternalCoordinator::resolveCoordinatorAlias(coordinatorName);
}

namespace {

// The coordinator while it exists; null before and after.
InternalCoordinator* coordinator()
{
    return dynamic_cast<InternalCoordinator*>(InternalCoordinator::factory().get());
}

}  // namespace

bool CoordinatorHost::sendConsoleText(const std::shared_ptr<Task>& task, bool isStdErr,
                                      const std::shared_ptr<IOMNode>& value)
{
    InternalCoordinator* internalCoordinator = coordinator();
    return internalCoordinator && internalCoordinator->sendConsoleText(task, isStdErr, value);
}

bool CoordinatorHost::queueMessage(std::shared_ptr<const IObject> messageObj)
{
    InternalCoordinator* internalCoordinator = coordinator();
    return internalCoordinator && internalCoordinator->queueMessage(std::move(messageObj));
}

bool CoordinatorHost::reportMessagingActivityInEventLoop()
{
    InternalCoordinator* internalCoordinator = coordinator();
    return internalCoordinator && internalCoordinator->reportMessagingActivityInEventLoop();
}

std::shared_ptr<Task> CoordinatorHost::handleDataRequest(
    const std::shared_ptr<const IObject>& senderAddressObj, const std::string& callBackID,
    const std::string& data, int64_t clientSequenceNr, int64_t serviceSequenceNr, GUIDClass* senderGUID,
    GUIDClass* upstreamCoordinatorGUID, const std::shared_ptr<OMScope>& scope)
{
    InternalCoordinator* internalCoordinator = coordinator();
    if (!internalCoordinator) return nullptr;
    return internalCoordinator->handleDataRequest(senderAddressObj, callBackID, data, clientSequenceNr,
                                                  serviceSequenceNr, senderGUID, upstreamCoordinatorGUID,
                                                  scope);
}

}  // namespace Qfn
