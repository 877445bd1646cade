#include "QfnAddress/LocalResolvedAddress.h"

#include "QfnAddress/AddressClassSupport.h"
#include "QfnAddress/IAddressHost.h"
#include "QfnAddress/LocalResolvedAddress.h"
#include "QfnAddress/QfnTraits/HashCombine.h"
#include "QfnLogger/Check.h"

namespace Qfn {

const std::string LocalResolvedAddress::TYPENAME = "LocalResolvedAddress";

std::shared_ptr<IObject> LocalResolvedAddress::factory()
{
    return AddressClassSupport::makeEmpty<LocalResolvedAddress>();
}

std::shared_ptr<IObject> LocalResolvedAddress::factoryFromGUIDs(GUIDClass* addressedGUID,
                                                                GUIDClass* upstreamCoordinatorGUID)
{
    std::shared_ptr<IObject> retVal;
    try {
        do {
            SANITY_CHECK(addressedGUID);
            SANITY_CHECK(upstreamCoordinatorGUID);
            ASSIGN_TYPED(LocalResolvedAddress, address,
                         AddressClassSupport::makeEmpty<LocalResolvedAddress>());
            address->fAddressedGUID = addressedGUID;
            address->fUpstreamCoordinatorGUID = upstreamCoordinatorGUID;
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
    return AddressClassSupport::factoryFromSerialized<LocalResolvedAddress>(serializerObj);
}

bool LocalResolvedAddress::registerDeregisterClass(RegisterDeregister registerDeregister)
{
    return AddressClassSupport::registerDeregisterClass(registerDeregister, TYPENAME,
                                                        &LocalResolvedAddress::factory,
                                                        &LocalResolvedAddress::factoryFromSerialized);
}

bool LocalResolvedAddress::serializeDeserializeContent(SerializeDeserialize serializeDeserialize,
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

std::string LocalResolvedAddress::getAsURL() const
{
    return getGUIDAddressURL("");
}

std::string LocalResolvedAddress::toString() const
{
    std::string retVal;
    try {
        retVal = Object::toString() + " " + printGUIDAddress();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

uint64_t LocalResolvedAddress::hash() const
{
    return HashCombine::combine(HashCombine::ofString(TYPENAME), hashGUIDs());
}

bool LocalResolvedAddress::operator==(const IObject& other) const
{
    const auto* otherAddress = dynamic_cast<const LocalResolvedAddress*>(&other);
    return otherAddress && isSameClass(other) && otherAddress->fAddressedGUID == fAddressedGUID &&
           otherAddress->fUpstreamCoordinatorGUID == fUpstreamCoordinatorGUID;
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
