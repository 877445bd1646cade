#include "QfnService/ServiceNull.h"

namespace Qfn {

const std::string ServiceNull::TYPENAME = "ServiceNull";
const std::string ServiceNull::SERVICE_NAME = "net.quillfern.service.null";

}  // namespace Qfn
