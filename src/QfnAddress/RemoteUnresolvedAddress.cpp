#include "QfnAddress/RemoteUnresolvedAddress.h"

#include "QfnAddress/IAddressHost.h"
#include "QfnAddress/LocalUnresolvedAddress.h"
#include "QfnAddress/QfnTraits/AddressName.h"
#include "QfnAddress/QfnTraits/HashCombine.h"
#include "QfnLogger/Check.h"
#include "QfnObject/ClassSupport.h"
#include "QfnUtils/Utils.h"

namespace Qfn {

const std::string RemoteUnresolvedAddress::TYPENAME = "RemoteUnresolvedAddress";

std::shared_ptr<IObject> RemoteUnresolvedAddress::factoryFromCoordinatorNameIndicesHostName(
    const std::string& coordinatorName, const std::string& indices, const std::string& hostName)
{
    std::shared_ptr<IObject> retVal;
    try {
        do {
            SANITY_CHECK(AddressName::isValid(coordinatorName));
            SANITY_CHECK(HostNameAddress_trait::isValidHostName(hostName));
            ASSIGN_TYPED(RemoteUnresolvedAddress, address,
                         ClassSupport::makeEmpty<RemoteUnresolvedAddress>());
            address->fHostName = hostName;
            address->fCoordinatorName = coordinatorName;
            SANITY_CHECK(address->setIndices(indices));
            retVal = address;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<IObject> RemoteUnresolvedAddress::factoryFromSerialized(
    const std::shared_ptr<IObject>& serializerObj)
{
    return deserializeContentInto(
        std::dynamic_pointer_cast<IData>(ClassSupport::makeEmpty<RemoteUnresolvedAddress>()), serializerObj);
}

bool RemoteUnresolvedAddress::registerDeregisterClass(RegisterDeregister registerDeregister)
{
    return ClassSupport::registerDeregisterClass(registerDeregister, TYPENAME, nullptr,
                                                 &RemoteUnresolvedAddress::factoryFromSerialized);
}

bool RemoteUnresolvedAddress::serializeDeserializeContent(SerializeDeserialize serializeDeserialize,
                                                          const std::shared_ptr<IObject>& serializerObj)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(Data_abstract::serializeDeserializeContent(serializeDeserialize, serializerObj));
            SANITY_CHECK(
                HostNameAddress_trait::serializeDeserializeContent(serializeDeserialize, serializerObj));
            SANITY_CHECK(CoordinatorNameAddress_trait::serializeDeserializeContent(serializeDeserialize,
                                                                                   serializerObj));
            SANITY_CHECK(
                IndexedAddress_trait::serializeDeserializeContent(serializeDeserialize, serializerObj));
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string RemoteUnresolvedAddress::getAsURL() const
{
    std::string retVal;
    try {
        retVal = "qfn://" + fHostName + "/" + fCoordinatorName + "/" + getIndicesStr();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string RemoteUnresolvedAddress::toString() const
{
    std::string retVal;
    try {
        retVal = Object::toString() + " " + printHostNameAddress() + " " + printCoordinatorNameAddress() +
                 " " + printIndexedAddress();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

uint64_t RemoteUnresolvedAddress::hash() const
{
    uint64_t retVal = HashCombine::combine(HashCombine::ofString(TYPENAME), HashCombine::ofString(fHostName));
    retVal = HashCombine::combine(retVal, HashCombine::ofString(fCoordinatorName));
    return HashCombine::combine(retVal, hashIndices());
}

bool RemoteUnresolvedAddress::operator==(const IObject& other) const
{
    const auto* otherAddress = dynamic_cast<const RemoteUnresolvedAddress*>(&other);
    return otherAddress && isSameClass(other) && otherAddress->fHostName == fHostName &&
           otherAddress->fCoordinatorName == fCoordinatorName && otherAddress->fIndices == fIndices;
}

// A name of this host makes it a local address; any other host is left to the gateway, which hands
// it to that host as a local address there.
std::shared_ptr<const IObject> RemoteUnresolvedAddress::resolved() const
{
    std::shared_ptr<const IObject> retVal;
    try {
        do {
            IAddressHost* internalCoordinator = nullptr;
            ASSIGN(internalCoordinator, IAddressHost::getAvailable());
            if (!internalCoordinator->isLocalHost(fHostName)) {
                retVal = shared_from_this();
                break;
            }
            LOG_NOTE("resolves to local");
            LOG_NOTE(Utils::stringWithFormat("fHostName = %s", fHostName.c_str()));
            ASSIGN_TYPED(
                IAddress, localAddress,
                LocalUnresolvedAddress::factoryFromCoordinatorNameIndices(fCoordinatorName, getIndicesStr()));
            retVal = localAddress->resolved();
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

GUIDClass* RemoteUnresolvedAddress::getAddressedGUID() const
{
    return getResolvedAddressedGUID();
}

GUIDClass* RemoteUnresolvedAddress::getUpstreamCoordinatorGUID() const
{
    GUIDClass* retVal = nullptr;
    try {
        do {
            IAddressHost* internalCoordinator = nullptr;
            ASSIGN(internalCoordinator, IAddressHost::getAvailable());
            const std::string& serviceName =
                LocalUnresolvedAddress::getAdjustedCoordinatorName(fCoordinatorName);
            GUIDClass* upstreamCoordinatorGUID = nullptr;
            ASSIGN(upstreamCoordinatorGUID,
                   internalCoordinator->getUpstreamCoordinatorGUID(fHostName, serviceName));
            retVal = upstreamCoordinatorGUID;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool RemoteUnresolvedAddress::isInternalCoordinatorAddress() const
{
    return isResolvedToInternalCoordinator();
}

}  // namespace Qfn
