#pragma once

#include <memory>

#include "QfnObject/IObject.h"

namespace Qfn {

// What a message can be delivered to: a service or a coordinator.
class IReceiver : public virtual IObject {
public:
    virtual bool receiveMessage(std::shared_ptr<const IObject> messageObj) = 0;
};

}  // namespace Qfn
