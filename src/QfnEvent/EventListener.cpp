#include "QfnEvent/EventListener.h"

#include "QfnEvent/IEvent.h"
#include "QfnLogger/Check.h"

namespace Qfn {

bool EventListener::handleEvent(const std::string&, std::shared_ptr<IObject> eventObj)
{
    bool retVal = false;
    try {
        do {
            ASSIGN_TYPED(IEvent, event, eventObj);
            event->markRootListenerCalled();
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace Qfn
