#pragma once

#include "QfnAddress/IAddressHost.h"
#include "QfnParser/host/IScriptHost.h"
#include "QfnService/IServiceHost.h"
#include "QfnTask/ITaskHost.h"

namespace Qfn {

// The coordinator as the host of the tasks, of the language, of the addresses and of the services: it answers
// from its settings and its singleton. One object, installed for the life of the process.
class CoordinatorHost : public ITaskHost, public IScriptHost, public IAddressHost, public IServiceHost {
public:
    // Installs the one host in Task and IScriptHost; true, so that it can initialise a constant.
    static bool install();

    bool isAvailable() override;
    int64_t getDefaultTimeoutMicroseconds() override;
    int64_t getEventLoopMicroseconds() override;
    int64_t getEventLoopSleepMicroseconds() override;
    int64_t getTimesliceMicroseconds() override;
    std::shared_ptr<InputStream> makeDefaultInputStream() override;
    std::shared_ptr<OutputStream> getDefaultOutputStream() override;
    std::shared_ptr<OutputStream> getPromptedOutputStream(
        const std::shared_ptr<InputStream>& stream) override;
    std::shared_ptr<IOMNode> makeBoolNode(bool value) override;

    const std::string& getPrompt(int level) override;
    bool isInteractive() override;
    int64_t getConsoleEcho() override;
    bool isTerminating() override;
    bool terminate() override;
    std::shared_ptr<OMStored> buildSysInfo() override;
    bool setDataRequestCallBack(const std::shared_ptr<OMScope>& scope, const std::string& callBackID,
                                const std::shared_ptr<OMStored>& callBackFunction,
                                const std::string& name) override;
    bool sendConsoleText(const std::shared_ptr<Task>& task, bool isStdErr,
                         const std::shared_ptr<IOMNode>& value) override;

    bool queueMessage(std::shared_ptr<const IObject> messageObj) override;
    bool reportMessagingActivityInEventLoop() override;
    std::shared_ptr<Task> handleDataRequest(const std::shared_ptr<const IObject>& senderAddressObj,
                                            const std::string& callBackID, const std::string& data,
                                            int64_t clientSequenceNr, int64_t serviceSequenceNr,
                                            GUIDClass* senderGUID, GUIDClass* upstreamCoordinatorGUID,
                                            const std::shared_ptr<OMScope>& scope) override;

    GUIDClass* createGUID() override;
    const std::string& getName() override;
    bool isMainCoordinator() override;
    std::shared_ptr<const IObject> resolveAddress(const std::shared_ptr<const IObject>& addressObj) override;
    bool isLocalHost(const std::string& hostName) override;
    bool isKnownSiblingCoordinator(const std::string& coordinatorName) override;
    GUIDClass* getUpstreamCoordinatorGUID(const std::string& hostName,
                                          const std::string& coordinatorName) override;
    const std::string& getHostName(GUIDClass* coordinatorGUID) override;
    const std::string& getCoordinatorName(GUIDClass* coordinatorGUID) override;
    std::string resolveUrlAlias(const std::string& url) override;
    bool registerCoordinatorAlias(const std::string& alias, const std::string& coordinatorName) override;
    const std::string& resolveCoordinatorAlias(const std::string& coordinatorName) override;
};

}  // namespace Qfn
