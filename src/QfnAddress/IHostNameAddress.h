#pragma once

#include <string>

#include "QfnObject/IObject.h"

namespace Qfn {

// An address that can tell the host it goes to; empty for this host.
class IHostNameAddress : public virtual IObject {
public:
    virtual const std::string& getHostName() const = 0;
};

}  // namespace Qfn
