#include "QfnService/ServiceNull.h"

#include "QfnService/ServiceSingleton.h"

namespace Qfn {

const std::string ServiceNull::TYPENAME = "ServiceNull";
const std::string ServiceNull::SERVICE_NAME = "net.quillfern.service.null";

std::shared_ptr<IObject> ServiceNull::factory()
{
    return ServiceSingleton<ServiceNull>::get();
}

void ServiceNull::releaseSingleton()
{
    ServiceSingleton<ServiceNull>::release();
}

bool ServiceNull::registerDeregisterClass(RegisterDeregister registerDeregister)
{
    return ClassSupport::registerDeregisterClass(registerDeregister, TYPENAME, &ServiceNull::factory, nullptr);
}

}  // namespace Qfn
