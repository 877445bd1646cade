#pragma once

#include <string>

#include "QfnAddress/IAddress.h"

namespace Qfn {

// An address that stands for two GUIDs: the addressed object and its upstream coordinator.
class IGUIDAddress : public virtual IAddress {
public:
    // qfn://<upstream GUID>/<addressed GUID>, with "//" and the tail when there is one.
    virtual std::string getGUIDAddressURL(const std::string& tail) const = 0;
};

}  // namespace Qfn
