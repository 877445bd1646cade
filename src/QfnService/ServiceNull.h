#pragma once

#include <memory>
#include <string>

#include "QfnService/ServiceSingleton.h"
#include "QfnService/Service_abstract.h"

namespace Qfn {

// Takes every message, fires "messageReceived", and answers nothing.
class ServiceNull : public virtual Service_abstract, public ServiceSingleton<ServiceNull> {
public:
    static const std::string TYPENAME;
    static const std::string SERVICE_NAME;
    const std::string& typeName() const override { return TYPENAME; }
    const std::string& getServiceName() const override { return SERVICE_NAME; }

private:
    friend struct ClassSupport;
    ServiceNull() = default;
    ~ServiceNull() override = default;
};

}  // namespace Qfn
