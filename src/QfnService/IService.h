#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "QfnAddress/IAddressable.h"
#include "QfnEvent/IEventSource.h"
#include "QfnMessage/IReceiver.h"
#include "QfnTask/ITimeConsumer.h"

namespace Qfn {

// A node of the coordinator's service tree: addressable, receives messages, fires events, and
// works in slices of the coordinator's main task.
class IService : public virtual IAddressable,
                 public virtual IReceiver,
                 public virtual IEventSource,
                 public virtual ITimeConsumer {
public:
    // The dotted name that, with the index among children of that name, makes the service's address.
    virtual const std::string& getServiceName() const = 0;
    // Only the coordinator answers true; it is the root and never anyone's child.
    virtual bool isCoordinator() const { return false; }
    virtual bool attachChildObj(std::shared_ptr<const IObject> childObj) = 0;
    virtual bool detachChildObj(std::shared_ptr<const IObject> childObj) = 0;
    virtual bool attachToParent(std::shared_ptr<const IObject> parentObj) = 0;
    virtual bool detachFromParent() = 0;
    virtual bool ownsChild(std::shared_ptr<const IObject> childObj) const = 0;
    virtual uint64_t getChildIndexInNameMap(std::shared_ptr<const IObject> childObj) const = 0;
    virtual uint64_t getIndexInNameMap() const = 0;
    // The child of that name and index among children of that name; empty when there is none.
    virtual std::shared_ptr<IObject> getChildByNameIndex(const std::string& name, uint64_t index) const = 0;
    virtual bool queueEvent(std::shared_ptr<IObject> eventObj) = 0;
};

}  // namespace Qfn
