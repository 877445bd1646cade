#pragma once

#include <memory>
#include <string>

#include "QfnEvent/IEventListener.h"
#include "QfnObject/Object.h"

namespace Qfn {

// The base of listeners: a subclass's handleEvent calls this one first, which marks the event as
// having reached the root of the handler chain.
class EventListener : public virtual Object, public virtual IEventListener {
public:
    bool handleEvent(const std::string& eventName, std::shared_ptr<IObject> eventObj) override;

protected:
    EventListener() = default;
    ~EventListener() override = default;
};

}  // namespace Qfn
