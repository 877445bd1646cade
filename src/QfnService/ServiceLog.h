#pragma once

#include <memory>
#include <string>
#include <vector>

#include "QfnService/ServiceSingleton.h"
#include "QfnService/Service_abstract.h"

namespace Qfn {

// Writes the payloads of LOG_TRACE, LOG_NOTE, LOG_WARNING and LOG_ERROR messages, each with a time
// stamp, to its log file ("ServiceLog.log" in the log folder unless another is pushed).
class ServiceLog : public virtual Service_abstract, public ServiceSingleton<ServiceLog> {
public:
    static const std::string TYPENAME;
    static const std::string SERVICE_NAME;
    const std::string& typeName() const override { return TYPENAME; }
    const std::string& getServiceName() const override { return SERVICE_NAME; }

    bool receiveMessage(std::shared_ptr<const IObject> messageObj) override;
    bool logMessage(const std::string& text) const;
    // Writes to another file until popState restores the one before.
    bool pushState(const std::string& logFilePath);
    bool popState();
    const std::string& getLogFilePath() const;

private:
    friend struct ClassSupport;
    ServiceLog() = default;
    ~ServiceLog() override = default;

    mutable std::string fLogFilePath;
    std::vector<std::string> fStateStack;
};

}  // namespace Qfn
