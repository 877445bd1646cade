#pragma once

#include <memory>
#include <string>

#include "QfnObject/IObject.h"

namespace Qfn {

class IEventListener;

enum class AttachDetach { ATTACH = 0, DETACH = 1 };

// Announces events by name to the listeners attached under a handler name; listeners are held weakly.
class IEventSource : public virtual IObject {
public:
    virtual bool attachDetachEventHandler(AttachDetach attachDetach, const std::string& eventName,
                                          const std::string& handlerName,
                                          std::shared_ptr<IEventListener> eventListener) = 0;
    virtual bool fireEvent(std::shared_ptr<IObject> eventObj) = 0;
};

}  // namespace Qfn
