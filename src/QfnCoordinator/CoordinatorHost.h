#pragma once

#include "QfnParser/host/IScriptHost.h"
#include "QfnTask/ITaskHost.h"

namespace Qfn {

// The coordinator as the host of the tasks and of the language: it answers from its settings and
// its singleton. One object, installed for the life of the process.
class CoordinatorHost : public ITaskHost, public IScriptHost {
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
};

}  // namespace Qfn
