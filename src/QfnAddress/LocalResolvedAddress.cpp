#include "QfnAddress/LocalResolvedAddress.h"

#include "QfnAddress/IAddressHost.h"
#include "QfnAddress/LocalResolvedAddress.h"
#include "QfnLogger/Check.h"
#include "QfnObject/ClassSupport.h"

namespace Qfn {

const std::string LocalResolvedAddress::TYPENAME = "LocalResolvedAddress";

std::shared_ptr<IObject> LocalResolvedAddress::factory()
{
    return ClassSupport::makeEmpty<LocalResolvedAddress>();
}

std::shared_ptr<IObject> LocalResolvedAddress::factoryFromGUIDs(GUIDClass* addressedGUID,
                                                                GUIDClass* upstreamCoordinatorGUID)
{
    std::shared_ptr<IObject> retVal;
    try {
        do {
            ASSIGN_TYPED(LocalResolvedAddress, address, ClassSupport::makeEmpty<LocalResolvedAddress>());
            SANITY_CHECK(address->setGUIDs(addressedGUID, upstreamCoordinatorGUID));
            retVal = address;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<IObject> LocalResolvedAddress::factoryFromSerialized(
    const std::shared_ptr<IObject>& serializerObj)
{
    return deserializeContentInto(std::dynamic_pointer_cast<IData>(factory()), serializerObj);
}

bool LocalResolvedAddress::registerDeregisterClass(RegisterDeregister registerDeregister)
{
    return ClassSupport::registerDeregisterClass(registerDeregister, TYPENAME, &LocalResolvedAddress::factory,
                                                 &LocalResolvedAddress::factoryFromSerialized);
}

// A local GUID address is final: routing delivers it here or hands it to the sibling it names.
std::shared_ptr<const IObject> LocalResolvedAddress::resolved() const
{
    std::shared_ptr<const IObject> retVal;
    try {
        retVal = shared_from_this();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace Qfn
