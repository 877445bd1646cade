#include "QfnCoordinator/InternalCoordinator.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "QfnAddress/InternalAddress.h"
#include "QfnAddress/LocalResolvedAddress.h"
#include "QfnAddress/LocalUnresolvedAddress.h"
#include "QfnAddress/RemoteResolvedAddress.h"
#include "QfnAddress/RemoteUnresolvedAddress.h"
#include "QfnCoordinator/CoordinatorHost.h"
#include "QfnCoordinator/SiblingCoordinator.h"
#include "QfnData/DataNull.h"
#include "QfnData/DataOM.h"
#include "QfnData/DataString.h"
#include "QfnEvent/Event.h"
#include "QfnLogger/Check.h"
#include "QfnMessage/Message.h"
#include "QfnParser/model/OMScope.h"
#include "QfnParser/model/OMStored.h"
#include "QfnParser/query/OMAccessor.h"
#include "QfnParser/streams/InputStreamConsole.h"
#include "QfnParser/streams/InputStreamFile.h"
#include "QfnParser/streams/InputStreamLineEditor.h"
#include "QfnParser/streams/InputStreamStdIn.h"
#include "QfnParser/streams/OutputStreamStdOut.h"
#include "QfnParser/tasks/script/ParseTask.h"
#include "QfnSerializer/SimpleSerializer.h"
#include "QfnService/ServiceLog.h"
#include "QfnService/ServiceNull.h"
#include "QfnService/ServiceOM.h"
#include "QfnService/ServicePing.h"
#include "QfnTask/ITaskHost.h"
#include "QfnTask/Task.h"
#include "QfnUtils/Pipes.h"
#include "QfnUtils/Utils.h"

namespace Qfn {

namespace {
// Tasks and scripts reach the coordinator through its host, installed before main runs.
[[maybe_unused]] const bool kHostInstalled = CoordinatorHost::install();
}  // namespace

const std::string InternalCoordinator::TYPENAME = "InternalCoordinator";
const std::string InternalCoordinator::SERVICE_NAME = "net.quillfern.service.coordinator";

std::shared_ptr<IObject> InternalCoordinator::fSingleton;
std::shared_ptr<OMScope> InternalCoordinator::fCoordinatorScope;
bool InternalCoordinator::fSingletonReleased = false;
bool InternalCoordinator::fIsStarted = false;
bool InternalCoordinator::fIsTerminating = false;
bool InternalCoordinator::fIsShuttingDown = false;
int InternalCoordinator::fExitStatus = 0;
bool InternalCoordinator::fCanTerminate = true;
bool InternalCoordinator::fIsEmbedded = false;
int InternalCoordinator::fIsMainCoordinator = 0;

std::string InternalCoordinator::fCoordinatorName = "net.quillfern.coordinator.main";
std::string InternalCoordinator::fCoordinatorShortName;
std::string InternalCoordinator::fScriptFilePath;
std::string InternalCoordinator::fStartupScriptFilePath;
std::string InternalCoordinator::fPrompt = "> ";
std::string InternalCoordinator::fPromptContinuation = ">> ";
std::string InternalCoordinator::fDataRequestData;
std::string InternalCoordinator::fCallBackID = "net.quillfern.callbackid.commandline.default";
std::string InternalCoordinator::fRemoteCoordinatorURL;
std::vector<std::string> InternalCoordinator::fLaunchArgs;
bool InternalCoordinator::fIsServer = false;
bool InternalCoordinator::fIsInteractive = false;
bool InternalCoordinator::fReadStdIn = false;
bool InternalCoordinator::fIsRunTests = false;
bool InternalCoordinator::fIsReportSessionData = false;
bool InternalCoordinator::fIsIgnoreInterrupt = false;
int64_t InternalCoordinator::fConsoleEcho = 1;
int64_t InternalCoordinator::fDelayQuitMicroseconds = 2000000;
int64_t InternalCoordinator::fEventLoopMicroseconds = ITaskHost::kDefaultEventLoopMicroseconds;
int64_t InternalCoordinator::fEventLoopSleepMicroseconds = ITaskHost::kDefaultEventLoopSleepMicroseconds;
int64_t InternalCoordinator::fInternalCoordinatorTimesliceMicroseconds =
    ITaskHost::kDefaultTimesliceMicroseconds;
int64_t InternalCoordinator::fDefaultTimeoutMicroseconds = ITaskHost::kDefaultTimeoutMicroseconds;
int64_t InternalCoordinator::fRemoteTimeoutMicroseconds = 2000000;
std::string InternalCoordinator::fGatewayPort = "9888";
int64_t InternalCoordinator::fGatewayIdleMicroseconds = 300000000;
int64_t InternalCoordinator::fInterCoordinatorPipeWaitTimeMicroseconds = 7000000;
int64_t InternalCoordinator::fInterCoordinatorTestTimeMicroseconds = 7000000;
int64_t InternalCoordinator::fMaxWaitMessageDropMicroseconds = 300000000;
int64_t InternalCoordinator::fMaxWaitPipeReappearMicroseconds = 1000000;
int64_t InternalCoordinator::fSleepWaitForPipeMicroseconds = 1000000;
int64_t InternalCoordinator::fSleepStalledPipeMicroseconds = 1000;
int64_t InternalCoordinator::fKillStalledPipeMicroseconds = 5000000;
int64_t InternalCoordinator::fTestTimeoutMicroseconds = 10000000;
int64_t InternalCoordinator::fQuitReflectorEventLoopForTestsMicroseconds = 2000000;
std::string InternalCoordinator::fDefaultEngine;
std::string InternalCoordinator::fIpcMessageLogFile;
int64_t InternalCoordinator::fScanActiveSiblingsIntervalMicroseconds = 100000;
int64_t InternalCoordinator::fScanConfigSiblingsIntervalMicroseconds = 5000000;
int64_t InternalCoordinator::fScanNamedPipeSiblingsIntervalMicroseconds = 100000;
std::string InternalCoordinator::fPipeFolderPath;
std::string InternalCoordinator::fSessionDataFolderPath;
std::map<std::string, InternalCoordinator::DataRequestCallBack> InternalCoordinator::fDataRequestCallBacks;

namespace {
const std::shared_ptr<Task> kNoTask;
}

std::shared_ptr<IObject> InternalCoordinator::factory()
{
    std::shared_ptr<IObject> retVal;
    try {
        do {
            if (!fSingleton && !fSingletonReleased) {
                fSingleton = Object::adopt(new InternalCoordinator(), &InternalCoordinator::deleter);
                // A process that ends without releasing the coordinator (a test run, a fuzzer) lets
                // it go before the static destructors, which destroy the type names it deregisters.
                static const bool kReleasedAtExit = std::atexit(&InternalCoordinator::releaseAtExit) == 0;
                EXPECTED(kReleasedAtExit);
                auto* internalCoordinator = dynamic_cast<InternalCoordinator*>(fSingleton.get());
                SANITY_CHECK(internalCoordinator && internalCoordinator->createServices());
            }
            retVal = fSingleton;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

void InternalCoordinator::releaseSingleton()
{
    fSingletonReleased = true;
    fSingleton.reset();
}

void InternalCoordinator::releaseServiceSingletons()
{
    ServiceNull::releaseSingleton();
    ServiceLog::releaseSingleton();
    ServicePing::releaseSingleton();
}

void InternalCoordinator::releaseAtExit()
{
    releaseCoordinatorScope();
    releaseSingleton();
    DataNull::releaseSingleton();
    releaseServiceSingletons();
}

bool InternalCoordinator::createServices()
{
    bool retVal = false;
    try {
        do {
            std::shared_ptr<IObject> children[5];
            ASSIGN(children[0], ServiceNull::factory());
            ASSIGN(children[1], ServicePing::factory());
            ASSIGN(children[2], ServiceLog::factory());
            std::shared_ptr<OMStored> sampleNode;
            ASSIGN(sampleNode, OMStored::undefinedFactory());
            SANITY_CHECK(ParseTask::call(sampleNode, "{abc: \"sampleValue\", def: \"a\"}"));
            const std::shared_ptr<OMMap>& sampleMembers = sampleNode->getMap();
            SANITY_CHECK(sampleMembers);
            std::shared_ptr<OMScope> sampleScope;
            ASSIGN(sampleScope, scopeFactory());
            OMAccessor sampleScopeAccessor(sampleScope);
            for (const auto& [key, value] : *sampleMembers)
                SANITY_CHECK(sampleScopeAccessor.set(key, value));
            ASSIGN(children[3], ServiceOM::factoryFromNameOMScope("sample", sampleScope));
            std::shared_ptr<OMScope> defaultScope;
            ASSIGN(defaultScope, scopeFactory());
            ASSIGN(children[4], ServiceOM::factoryFromNameOMScope("default", defaultScope));
            bool allAttached = true;
            for (const std::shared_ptr<IObject>& child : children)
                allAttached = attachChildObj(child) && allAttached;
            SANITY_CHECK(allAttached);
            // Every service gets its GUID and address now, as the coordinator does: the first
            // message to or from one finds them made.
            bool allAddressed = getAddressObj() != nullptr;
            for (const std::shared_ptr<IObject>& child : children) {
                auto service = std::dynamic_pointer_cast<IService>(child);
                allAddressed = service && service->getAddressObj() && allAddressed;
            }
            SANITY_CHECK(allAddressed);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

void InternalCoordinator::deleter(InternalCoordinator* internalCoordinator)
{
    try {
        do {
            SANITY_CHECK(internalCoordinator);
            fIsShuttingDown = true;
            if (!internalCoordinator->fMessageQueue.empty()) {
                LOG_WARNING(QFN_CHECK_TEXT("EXPECTED", "message queue not empty"));
                internalCoordinator->fMessageQueue.clear();
            }
            internalCoordinator->fMainTask.reset();
            internalCoordinator->fConsoleTask.reset();
            internalCoordinator->fGatewaySendMethod = nullptr;
            fLaunchArgs.clear();
            SANITY_CHECK(internalCoordinator->deregisterPendingTasks());
            SANITY_CHECK(deregisterTests());
            SANITY_CHECK(deregisterObjectClasses());
        } while (false);
        // The storage goes back whatever failed above, so that nothing outlives the process's work.
        if (internalCoordinator) {
            Object::deleter(internalCoordinator);
            delete internalCoordinator;
        }
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

bool InternalCoordinator::registerDeregisterClass(RegisterDeregister registerDeregister)
{
    bool retVal = false;
    try {
        do {
            if (registerDeregister == RegisterDeregister::REGISTER) {
                SANITY_CHECK(Object::registerFactory(TYPENAME, InternalCoordinator::factory));
            } else if (registerDeregister == RegisterDeregister::DEREGISTER) {
                SANITY_CHECK(Object::deregisterFactory(TYPENAME));
            } else {
                LOG_ERROR("no registerDeregister");
                break;
            }
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

namespace {

using ClassRegistration = bool (*)(RegisterDeregister);

// Every class with a factory, bases before derived classes; more join as their subsystems come.
const ClassRegistration kObjectClasses[] = {&InternalCoordinator::registerDeregisterClass,
                                            &SimpleSerializer::registerDeregisterClass,
                                            &DataNull::registerDeregisterClass,
                                            &DataString::registerDeregisterClass,
                                            &DataOM::registerDeregisterClass,
                                            &InternalAddress::registerDeregisterClass,
                                            &LocalUnresolvedAddress::registerDeregisterClass,
                                            &RemoteUnresolvedAddress::registerDeregisterClass,
                                            &LocalResolvedAddress::registerDeregisterClass,
                                            &RemoteResolvedAddress::registerDeregisterClass,
                                            &Event::registerDeregisterClass,
                                            &Message::registerDeregisterClass,
                                            &ServiceNull::registerDeregisterClass,
                                            &ServicePing::registerDeregisterClass,
                                            &ServiceLog::registerDeregisterClass,
                                            &ServiceOM::registerDeregisterClass};

}  // namespace

bool InternalCoordinator::registerObjectClasses()
{
    bool retVal = false;
    try {
        do {
            bool allRegistered = true;
            for (ClassRegistration registration : kObjectClasses) {
                if (!registration(RegisterDeregister::REGISTER)) {
                    LOG_ERROR("failed to register class");
                    allRegistered = false;
                    break;
                }
            }
            retVal = allRegistered;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool InternalCoordinator::deregisterObjectClasses()
{
    bool retVal = false;
    try {
        do {
            bool allDeregistered = true;
            for (size_t index = std::size(kObjectClasses); index-- > 0;) {
                if (!kObjectClasses[index](RegisterDeregister::DEREGISTER)) {
                    LOG_ERROR("failed to de-register class");
                    allDeregistered = false;
                    break;
                }
            }
            retVal = allDeregistered;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// The built-in self-test classes are not part of this build; there is nothing to register.
bool InternalCoordinator::registerTests()
{
    return true;
}

bool InternalCoordinator::deregisterTests()
{
    return true;
}

std::shared_ptr<OMScope> InternalCoordinator::getCoordinatorScope()
{
    if (!fCoordinatorScope && !fSingletonReleased) fCoordinatorScope = scopeFactory();
    return fCoordinatorScope;
}

void InternalCoordinator::releaseCoordinatorScope()
{
    fCoordinatorScope.reset();
    clearDataRequestCallBacks();
}

std::shared_ptr<OMScope> InternalCoordinator::scopeFactory()
{
    return scopeFactory(nullptr, ScopeRelationType::NONE);
}

std::shared_ptr<OMScope> InternalCoordinator::scopeFactory(const std::shared_ptr<OMScope>& parent,
                                                           ScopeRelationType parentScopeRelationType)
{
    return OMScope::scopeFactory(parent, parentScopeRelationType);
}

void InternalCoordinator::setScopeFactory(ScopeFactoryFunction scopeFactoryFunction)
{
    OMScope::setScopeFactory(scopeFactoryFunction);
}

const std::shared_ptr<Task>& InternalCoordinator::getMainTask()
{
    auto* internalCoordinator = dynamic_cast<InternalCoordinator*>(fSingleton.get());
    return internalCoordinator ? internalCoordinator->fMainTask : kNoTask;
}

bool InternalCoordinator::isTerminating()
{
    return fIsTerminating || fSingletonReleased;
}

bool InternalCoordinator::isTerminatingAndIdle()
{
    bool retVal = false;
    try {
        do {
            auto* internalCoordinator = dynamic_cast<InternalCoordinator*>(fSingleton.get());
            if (!internalCoordinator) {
                retVal = true;
                break;
            }
            if (!fIsTerminating) break;
            retVal = internalCoordinator->isIdle();
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool InternalCoordinator::terminate()
{
    bool retVal = false;
    try {
        do {
            LOG_NOTE("terminate()");
            if (!fCanTerminate) {
                LOG_WARNING("cannot terminate - fCanTerminate is false");
                break;
            }
            fIsTerminating = true;
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool InternalCoordinator::isIdle() const
{
    bool retVal = false;
    try {
        do {
            bool serviceIdle = Service_abstract::isIdle();
            bool holding = isHoldingSiblingResponsesForTermination();
            bool idle = fIsProcessingMessageQueue == 0 && fMessageQueue.empty() && serviceIdle && !holding;
            retVal = idle;
            if (!fIsTerminating || Log::getLogLevel() < 3) break;
            if (idle) LOG_NOTE("fIsTerminating and isIdle");
            if (fIsProcessingMessageQueue > 0) {
                LOG_NOTE("fIsTerminating but not idle because fIsProcessingMessageQueue");
            }
            if (!fMessageQueue.empty())
                LOG_NOTE("fIsTerminating but not idle because ! fMessageQueue.empty()");
            if (!serviceIdle) {
                LOG_NOTE("fIsTerminating but not idle because inherited ! Service_abstract::isIdle()");
            }
            if (!Pipes::isAllWritePipesIdle())
                LOG_NOTE("fIsTerminating but not idle because write pipes not idle");
            if (!Pipes::isAllReadPipesIdle())
                LOG_NOTE("fIsTerminating but not idle because read pipes not idle");
            if (holding) {
                LOG_NOTE("fIsTerminating but not idle because isHoldingSiblingResponsesForTermination()");
            }
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool InternalCoordinator::isHoldingSiblingResponsesForTermination() const
{
    return fIsTerminating && Pipes::namedPipeExists(getNamedPipePath());
}

bool InternalCoordinator::setCanTerminate(bool value)
{
    fCanTerminate = value;
    return true;
}

bool InternalCoordinator::setIsEmbedded(bool value)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(!InternalCoordinator::fIsStarted);
            fIsEmbedded = value;
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool InternalCoordinator::setName(const std::string& name)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(!InternalCoordinator::fIsStarted);
            fCoordinatorName = name;
            fIsMainCoordinator = 0;
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool InternalCoordinator::isMainCoordinator()
{
    if (fIsMainCoordinator == 0)
        fIsMainCoordinator = fCoordinatorName == "net.quillfern.coordinator.main" ? 1 : 2;
    return fIsMainCoordinator == 1;
}

bool InternalCoordinator::setIsReportSessionData(bool value)
{
    fIsReportSessionData = value;
    return true;
}

bool InternalCoordinator::setGatewaySendMethod(GatewaySendMethod sendMethod)
{
    fGatewaySendMethod = sendMethod;
    return true;
}

bool InternalCoordinator::deregisterObject()
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(destroyNamedPipe());
            SANITY_CHECK(destroySessionData());
            fMessageQueue.clear();
            SANITY_CHECK(deregisterPendingTasks());
            SANITY_CHECK(Service_abstract::deregisterObject());
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool InternalCoordinator::deregisterPendingTasks()
{
    return true;
}


}  // namespace Qfn

namespace Qfn {

std::shared_ptr<InputStream> InternalCoordinator::inputStreamFactory()
{
    std::shared_ptr<InputStream> retVal;
    try {
        do {
            if (fReadStdIn || fScriptFilePath == "-") {
                retVal = InputStreamStdIn::factory();
                break;
            }
            if (!fScriptFilePath.empty()) {
                FILE* file = std::fopen(fScriptFilePath.c_str(), "rb");
                if (!file) {
                    LOG_ERROR(Utils::stringWithFormat("cannot open %s: %s", fScriptFilePath.c_str(),
                                                      std::strerror(errno)));
                    setExitStatus(1);
                    break;
                }
                retVal = InputStreamFile::factory(file, true);
                break;
            }
            retVal = consoleStreamFactory();
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<InputStream> InternalCoordinator::consoleStreamFactory()
{
    std::shared_ptr<InputStream> retVal;
    try {
        // The editor always shows what is typed: a console set not to echo keeps the plain reader.
        const bool isEchoing = fConsoleEcho == 1 || fConsoleEcho == 3;
        if (isEchoing && InputStreamLineEditor::isAvailable()) {
            retVal = InputStreamLineEditor::factory();
        } else {
            retVal = InputStreamConsole::factory();
        }
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<OutputStream> InternalCoordinator::outputStreamFactory()
{
    std::shared_ptr<OutputStream> retVal;
    try {
        retVal = OutputStreamStdOut::factory();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace Qfn
