#pragma once

#include <memory>
#include <string>

#include "QfnObject/IObject.h"

namespace Qfn {

// What an event source calls for each event a listener attached itself to.
class IEventListener : public virtual IObject {
public:
    virtual bool handleEvent(const std::string& eventName, std::shared_ptr<IObject> eventObj) = 0;
};

}  // namespace Qfn
