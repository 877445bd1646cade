#include "QfnAddress/RemoteResolvedAddress.h"

#include "QfnAddress/IAddressHost.h"
#include "QfnAddress/LocalResolvedAddress.h"
#include "QfnLogger/Check.h"
#include "QfnObject/ClassSupport.h"
#include "QfnUtils/Utils.h"

namespace Qfn {

const std::string RemoteResolvedAddress::TYPENAME = "RemoteResolvedAddress";

std::shared_ptr<IObject> RemoteResolvedAddress::factoryFromGUIDs(GUIDClass* addressedGUID,
                                                                 GUIDClass* upstreamCoordinatorGUID)
{
    std::shared_ptr<IObject> retVal;
    try {
        do {
            ASSIGN_TYPED(RemoteResolvedAddress, address, ClassSupport::makeEmpty<RemoteResolvedAddress>());
            SANITY_CHECK(address->setGUIDs(addressedGUID, upstreamCoordinatorGUID));
            retVal = address;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<IObject> RemoteResolvedAddress::factoryFromSerialized(
    const std::shared_ptr<IObject>& serializerObj)
{
    return deserializeContentInto(
        std::dynamic_pointer_cast<IData>(ClassSupport::makeEmpty<RemoteResolvedAddress>()), serializerObj);
}

bool RemoteResolvedAddress::registerDeregisterClass(RegisterDeregister registerDeregister)
{
    return ClassSupport::registerDeregisterClass(registerDeregister, TYPENAME, nullptr,
                                                 &RemoteResolvedAddress::factoryFromSerialized);
}

// An upstream coordinator that is this one makes the address a local one.
std::shared_ptr<const IObject> RemoteResolvedAddress::resolved() const
{
    std::shared_ptr<const IObject> retVal;
    try {
        do {
            IAddressHost* internalCoordinator = nullptr;
            ASSIGN(internalCoordinator, IAddressHost::getAvailable());
            GUIDClass* internalCoordinatorGUID = nullptr;
            ASSIGN(internalCoordinatorGUID, internalCoordinator->createGUID());
            if (fUpstreamCoordinatorGUID != internalCoordinatorGUID) {
                retVal = shared_from_this();
                break;
            }
            LOG_NOTE("resolves to local");
            LOG_NOTE(Utils::stringWithFormat("hostName = %s", getHostName().c_str()));
            retVal = LocalResolvedAddress::factoryFromGUIDs(fAddressedGUID, fUpstreamCoordinatorGUID);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace Qfn
