#include "QfnAddress/RemoteResolvedAddress.h"

#include "QfnAddress/AddressClassSupport.h"
#include "QfnAddress/IAddressHost.h"
#include "QfnAddress/LocalResolvedAddress.h"
#include "QfnAddress/QfnTraits/HashCombine.h"
#include "QfnLogger/Check.h"
#include "QfnUtils/Utils.h"

namespace Qfn {

const std::string RemoteResolvedAddress::TYPENAME = "RemoteResolvedAddress";

std::shared_ptr<IObject> RemoteResolvedAddress::factoryFromGUIDs(GUIDClass* addressedGUID,
                                                                 GUIDClass* upstreamCoordinatorGUID)
{
    std::shared_ptr<IObject> retVal;
    try {
        do {
            SANITY_CHECK(addressedGUID);
            SANITY_CHECK(upstreamCoordinatorGUID);
            ASSIGN_TYPED(RemoteResolvedAddress, address,
                         AddressClassSupport::makeEmpty<RemoteResolvedAddress>());
            address->fAddressedGUID = addressedGUID;
            address->fUpstreamCoordinatorGUID = upstreamCoordinatorGUID;
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
    return AddressClassSupport::factoryFromSerialized<RemoteResolvedAddress>(serializerObj);
}

bool RemoteResolvedAddress::registerDeregisterClass(RegisterDeregister registerDeregister)
{
    return AddressClassSupport::registerDeregisterClass(registerDeregister, TYPENAME, nullptr,
                                                        &RemoteResolvedAddress::factoryFromSerialized);
}

bool RemoteResolvedAddress::serializeDeserializeContent(SerializeDeserialize serializeDeserialize,
                                                        const std::shared_ptr<IObject>& serializerObj)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(Data_abstract::serializeDeserializeContent(serializeDeserialize, serializerObj));
            SANITY_CHECK(GUIDAddress_trait::serializeDeserializeContent(serializeDeserialize, serializerObj));
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string RemoteResolvedAddress::getAsURL() const
{
    return getGUIDAddressURL("");
}

std::string RemoteResolvedAddress::toString() const
{
    std::string retVal;
    try {
        retVal = Object::toString() + " " + printGUIDAddress();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

uint64_t RemoteResolvedAddress::hash() const
{
    return HashCombine::combine(HashCombine::ofString(TYPENAME), hashGUIDs());
}

bool RemoteResolvedAddress::operator==(const IObject& other) const
{
    const auto* otherAddress = dynamic_cast<const RemoteResolvedAddress*>(&other);
    return otherAddress && isSameClass(other) && otherAddress->fAddressedGUID == fAddressedGUID &&
           otherAddress->fUpstreamCoordinatorGUID == fUpstreamCoordinatorGUID;
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
