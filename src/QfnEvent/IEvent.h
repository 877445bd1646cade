#pragma once

#include <memory>
#include <string>

#include "QfnObject/IObject.h"

namespace Qfn {

class IEventSource;

// Something that happened, by name, with an optional payload (the message that was received, say).
class IEvent : public virtual IObject {
public:
    virtual const std::string& getName() const = 0;
    virtual std::shared_ptr<const IObject> getPayloadObj() const = 0;
    // The source that is firing the event; null outside a firing.
    virtual bool setEventSource(IEventSource* eventSource) = 0;
    virtual IEventSource* getEventSource() const = 0;
    // Marked by the base listener: every handler chain reached it.
    virtual bool wasRootListenerCalled() const = 0;
    virtual void markRootListenerCalled() = 0;
};

}  // namespace Qfn
