#include "QfnEvent/EventSource.h"

#include "QfnEvent/IEvent.h"
#include "QfnEvent/IEventListener.h"
#include "QfnLogger/Check.h"

namespace Qfn {

bool EventSource::attachDetachEventHandler(AttachDetach attachDetach, const std::string& eventName,
                                           const std::string& handlerName,
                                           std::shared_ptr<IEventListener> eventListener)
{
    bool retVal = false;
    try {
        do {
            // A map being walked by a firing is never changed: a changed copy takes its place.
            if (attachDetach == AttachDetach::ATTACH) {
                SANITY_CHECK(fEventNameMap);
                std::shared_ptr<ListenerMap>& eventListenerMap = (*fEventNameMap)[eventName];
                if (!eventListenerMap) eventListenerMap = std::make_shared<ListenerMap>();
                auto eventListenerIter = eventListenerMap->find(handlerName);
                SANITY_CHECK(eventListenerIter == eventListenerMap->end());
                auto changed = std::make_shared<ListenerMap>(*eventListenerMap);
                (*changed)[handlerName] = eventListener;
                eventListenerMap = std::move(changed);
            } else if (attachDetach == AttachDetach::DETACH) {
                auto eventNameIter = fEventNameMap->find(eventName);
                SANITY_CHECK(eventNameIter != fEventNameMap->end());
                std::shared_ptr<ListenerMap> eventListenerMap = eventNameIter->second;
                SANITY_CHECK(eventListenerMap);
                auto eventHandlerEntryIter = eventListenerMap->find(handlerName);
                SANITY_CHECK(eventHandlerEntryIter != eventListenerMap->end());
                if (eventListenerMap->size() == 1) {
                    fEventNameMap->erase(eventNameIter);
                } else {
                    auto changed = std::make_shared<ListenerMap>(*eventListenerMap);
                    changed->erase(handlerName);
                    eventNameIter->second = std::move(changed);
                }
            } else {
                LOG_ERROR("no attachDetach");
                break;
            }
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool EventSource::fireEvent(std::shared_ptr<IObject> eventObj)
{
    bool retVal = false;
    try {
        do {
            ASSIGN_TYPED(IEvent, event, eventObj);
            auto eventNameIter = fEventNameMap->find(event->getName());
            if (eventNameIter == fEventNameMap->end()) {
                retVal = true;
                break;
            }
            // Held here: a handler that attaches or detaches replaces the map and leaves this one as it is.
            std::shared_ptr<ListenerMap> eventListenerSet = eventNameIter->second;
            SANITY_CHECK(eventListenerSet);
            SANITY_CHECK(event->setEventSource(this));
            bool isWalkComplete = false;
            for (auto eventListenerIter = eventListenerSet->begin();; ++eventListenerIter) {
                if (eventListenerIter == eventListenerSet->end()) {
                    isWalkComplete = true;
                    break;
                }
                ASSIGN_TYPED(IEventListener, eventListener, eventListenerIter->second.lock());
                if (!eventListener->handleEvent(event->getName(), eventObj)) LOG_ERROR("handleEvent failed");
            }
            // A firing that failed leaves the source on the event: it tells where the failure was.
            if (!isWalkComplete) break;
            SANITY_CHECK(event->wasRootListenerCalled());
            SANITY_CHECK(event->setEventSource(nullptr));
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace Qfn
