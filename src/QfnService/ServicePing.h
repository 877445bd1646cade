#pragma once

#include <memory>
#include <string>

#include "QfnService/ServiceSingleton.h"
#include "QfnService/Service_abstract.h"

namespace Qfn {

// Answers a PING with a PING_REPLY that carries the same payload back to the sender.
class ServicePing : public virtual Service_abstract, public ServiceSingleton<ServicePing> {
public:
    static const std::string TYPENAME;
    static const std::string SERVICE_NAME;
    const std::string& typeName() const override { return TYPENAME; }
    const std::string& getServiceName() const override { return SERVICE_NAME; }

    bool receiveMessage(std::shared_ptr<const IObject> messageObj) override;

private:
    friend struct ClassSupport;
    ServicePing() = default;
    ~ServicePing() override = default;
};

}  // namespace Qfn
