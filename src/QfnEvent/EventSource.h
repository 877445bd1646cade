#pragma once

#include <memory>
#include <string>
#include <unordered_map>

#include "QfnEvent/IEventSource.h"
#include "QfnObject/Object.h"

namespace Qfn {

// Keeps, per event name, the listeners attached under their handler names, weakly, and calls them.
class EventSource : public virtual Object, public virtual IEventSource {
public:
    using ListenerMap = std::unordered_map<std::string, std::weak_ptr<IEventListener>>;
    using EventNameMap = std::unordered_map<std::string, std::shared_ptr<ListenerMap>>;

    bool attachDetachEventHandler(AttachDetach attachDetach, const std::string& eventName,
                                  const std::string& handlerName,
                                  std::shared_ptr<IEventListener> eventListener) override;
    // Calls every listener of the event's name; a listener may attach and detach while it runs.
    bool fireEvent(std::shared_ptr<IObject> eventObj) override;
    // Whether any listener is attached for the name: an event nobody hears need not be made.
    bool hasEventHandlers(const std::string& eventName) const { return fEventNameMap->count(eventName) != 0; }

protected:
    EventSource() = default;
    ~EventSource() override = default;

    // Lets go of every listener; the source stays usable.
    void clearEventHandlers() { fEventNameMap->clear(); }

private:
    std::shared_ptr<EventNameMap> fEventNameMap = std::make_shared<EventNameMap>();
};

}  // namespace Qfn
