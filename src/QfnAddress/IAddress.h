#pragma once

#include <memory>
#include <string>

#include "QfnObject/IObject.h"

namespace Qfn {

// Where a message goes: a service or a coordinator somewhere in the fabric, by names or by GUIDs.
class IAddress : public virtual IObject {
public:
    // The qfn:// text that reads back as this address.
    virtual std::string getAsURL() const = 0;
    // The GUID address this one stands for now; the empty pointer when nothing answers to it.
    virtual std::shared_ptr<const IObject> resolved() const = 0;
    virtual GUIDClass* getAddressedGUID() const = 0;
    // The coordinator through which messages for this address go.
    virtual GUIDClass* getUpstreamCoordinatorGUID() const = 0;
    // Whether the address names this process's coordinator itself.
    virtual bool isInternalCoordinatorAddress() const = 0;
};

}  // namespace Qfn
