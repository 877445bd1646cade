#include "QuillfernGW/QuillfernGW.h"

#include <chrono>
#include <memory>
#include <string>

#include "QfnCoordinator/InternalCoordinator.h"
#include "QfnData/DataNull.h"
#include "QfnLogger/Check.h"
#include "QfnObject/Object.h"
#include "QfnParser/model/OMScope.h"
#include "QfnParser/streams/OpenedFile.h"
#include "QfnTask/Task.h"
#include "QfnUtils/BigStackThread.h"
#include "QfnUtils/Pipes.h"
#include "QfnUtils/Signals.h"
#include "QfnUtils/Utils.h"
#include "QuillfernGW/Listener.h"
#include "QuillfernGW/ServerDefinition.h"
#include "QuillfernGW/SocketEntry.h"

namespace Qfn {

namespace {

// Hands a serialized message to the connection of its host, as one escaped line ended by a
// carriage return.
void gatewaySend(const std::string& host, const std::string& message)
{
    std::string line = Utils::escapeIPC(message);
    line += '\r';
    SocketEntry::sendToHost(host, line);
}

// When the coordinator starts terminating the gateway takes no more connections nor lines.
void stopTakingConnections()
{
    static bool isStopped = false;
    if (isStopped) return;
    isStopped = true;
    SocketEntry::setIsTakingInput(false);
    stopListeners();
}

// The gateway's end: replies already owed are sent for a while, then every connection and thread ends.
void closeGateway()
{
    stopTakingConnections();
    InternalCoordinator::setGatewayInputMethod(nullptr);
    SocketEntry::closeAll(std::chrono::milliseconds(2000));
}

bool runServerLoopPasses(const std::shared_ptr<InternalCoordinator>& internalCoordinator)
{
    bool retVal = false;
    while (true) {
        if (!internalCoordinator->runEventLoop(InternalCoordinator::getEventLoopMicroseconds())) {
            LOG_ERROR(
                "SANITY_CHECK failed: "
                "'internalCoordinator->runEventLoop(InternalCoordinator::getEventLoopMicroseconds())' "
                "evaluates "
                "to false");
            break;
        }
        SocketEntry::startPendingWriteThreads();
        SocketEntry::sweep(&InternalCoordinator::forgetSenderHost);
        if (InternalCoordinator::isTerminating()) stopTakingConnections();
        bool replenished = true;
        for (size_t serverDefinitionIdx = 0; serverDefinitionIdx < gServerDefinitionVector.size();
             ++serverDefinitionIdx) {
            if (!replenishListenerThreads(static_cast<int>(serverDefinitionIdx))) {
                LOG_CHECK_FAILED("SANITY_CHECK", "replenishListenerThreads(serverDefinitionIdx)");
                replenished = false;
                break;
            }
        }
        if (!replenished) break;
        if (InternalCoordinator::isTerminatingAndIdle()) {
            retVal = true;
            break;
        }
    }
    return retVal;
}

}  // namespace

bool serverLoop()
{
    bool retVal = false;
    bool locked = false;
    try {
        do {
            InternalCoordinator::getSleepQuillfernMutex().lock();
            locked = true;
            InternalCoordinator::noteSleepLockHeldByThisThread();
            std::shared_ptr<InternalCoordinator> internalCoordinator;
            ASSIGN(internalCoordinator,
                   std::dynamic_pointer_cast<Qfn::InternalCoordinator>(Qfn::InternalCoordinator::factory()));
            SANITY_CHECK(startListener());
            // Only the process that holds the port is the gateway; the others route remote traffic to it.
            if (!gServerDefinitionVector.empty()) {
                SocketEntry::setIsTakingInput(true);
                InternalCoordinator::setGatewayInputMethod(&takeGatewayInput);
                internalCoordinator->setGatewaySendMethod(gatewaySend);
            }
            retVal = runServerLoopPasses(internalCoordinator);
            closeGateway();
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    // The coordinator thread gives the sleep mutex back when it stops serving.
    if (locked) InternalCoordinator::releaseSleepLockFromQuillfernThread();
    return retVal;
}

namespace {

int runCoordinator(int argc, char** argv)
{
    try {
        do {
            Log::setLogLevel(0);
            std::shared_ptr<InternalCoordinator> internalCoordinator;
            std::string coordinatorName;
            bool isInitDone = InternalCoordinator::init(argc, argv);
            if (isInitDone) {
                ASSIGN(internalCoordinator, std::dynamic_pointer_cast<Qfn::InternalCoordinator>(
                                                Qfn::InternalCoordinator::factory()));
                Signals::install(InternalCoordinator::getIsIgnoreInterrupt());
                coordinatorName = InternalCoordinator::getName();
                if (Log::getLogLevel() >= 3)
                    LOG_NOTE(Utils::stringWithFormat("%s started", coordinatorName.c_str()));
                SANITY_CHECK(InternalCoordinator::getCoordinatorScope());
                EXPECTED(serverLoop());
                if (Log::getLogLevel() >= 3)
                    LOG_NOTE(Utils::stringWithFormat("%s exiting", coordinatorName.c_str()));
            } else {
                LOG_CHECK_FAILED("SANITY_CHECK", "InternalCoordinator::init(argc, argv)");
            }
            // A start that failed half-way tears down what it had built, as a normal end does.
            internalCoordinator.reset();
            Task::deregisterAllTasks();
            InternalCoordinator::releaseCoordinatorScope();
            InternalCoordinator::releaseSingleton();
            DataNull::releaseSingleton();
            InternalCoordinator::releaseServiceSingletons();
            Pipes::closeAll();
            // Files a script left open are flushed and closed before the process ends.
            OpenedFile::closeAll();
            EXPECTED(Object::getObjectCount() == 0);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return InternalCoordinator::getExitStatus();
}

}  // namespace

// The coordinator runs on a thread with a large stack, so that scripts may recurse deeply.
int main(int argc, char** argv)
{
    return BigStackThread::run(BigStackThread::kDefaultStackBytes,
                               [argc, argv] { return runCoordinator(argc, argv); });
}

}  // namespace Qfn
