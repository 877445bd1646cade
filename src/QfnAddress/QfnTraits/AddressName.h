#pragma once

#include <string>

namespace Qfn {

// The names in addresses, of coordinators and of services: identifier names that may hold dots after
// their first character ("net.quillfern.service.null").
struct AddressName {
    static bool isValid(const std::string& name);
};

}  // namespace Qfn
