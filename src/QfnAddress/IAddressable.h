#pragma once

#include <memory>

#include "QfnObject/IObject.h"

namespace Qfn {

// An object that messages can be sent to or from: it gives the address that leads to it.
class IAddressable : public virtual IObject {
public:
    virtual std::shared_ptr<IObject> getAddressObj() const = 0;
};

}  // namespace Qfn
