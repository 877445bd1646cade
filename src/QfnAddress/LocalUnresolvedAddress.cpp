#include "QfnAddress/LocalUnresolvedAddress.h"

#include "QfnAddress/IAddressHost.h"
#include "QfnAddress/InternalAddress.h"
#include "QfnAddress/QfnTraits/AddressName.h"
#include "QfnAddress/QfnTraits/HashCombine.h"
#include "QfnLogger/Check.h"
#include "QfnObject/ClassSupport.h"

namespace Qfn {

const std::string LocalUnresolvedAddress::TYPENAME = "LocalUnresolvedAddress";

namespace {
const std::string kNoName;
}  // namespace

std::shared_ptr<IObject> LocalUnresolvedAddress::factory()
{
    return ClassSupport::makeEmpty<LocalUnresolvedAddress>();
}

std::shared_ptr<IObject> LocalUnresolvedAddress::factoryFromCoordinatorNameIndices(
    const std::string& coordinatorName, const std::string& indices)
{
    std::shared_ptr<IObject> retVal;
    try {
        do {
            SANITY_CHECK(AddressName::isValid(coordinatorName));
            ASSIGN_TYPED(LocalUnresolvedAddress, address, factory());
            address->fCoordinatorName = coordinatorName;
            SANITY_CHECK(address->setIndices(indices));
            retVal = address;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<IObject> LocalUnresolvedAddress::factoryFromSerialized(
    const std::shared_ptr<IObject>& serializerObj)
{
    return deserializeContentInto(std::dynamic_pointer_cast<IData>(factory()), serializerObj);
}

bool LocalUnresolvedAddress::registerDeregisterClass(RegisterDeregister registerDeregister)
{
    return ClassSupport::registerDeregisterClass(registerDeregister, TYPENAME,
                                                 &LocalUnresolvedAddress::factory,
                                                 &LocalUnresolvedAddress::factoryFromSerialized);
}

bool LocalUnresolvedAddress::defineShorthand(const std::string& shorthand, const std::string& coordinatorName)
{
    bool retVal = false;
    try {
        do {
            IAddressHost* host = nullptr;
            ASSIGN(host, IAddressHost::get());
            SANITY_CHECK(host->registerCoordinatorAlias(shorthand, coordinatorName));
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

const std::string& LocalUnresolvedAddress::getAdjustedCoordinatorName(const std::string& coordinatorName)
{
    IAddressHost* host = IAddressHost::get();
    return host ? host->resolveCoordinatorAlias(coordinatorName) : coordinatorName;
}

bool LocalUnresolvedAddress::serializeDeserializeContent(SerializeDeserialize serializeDeserialize,
                                                         const std::shared_ptr<IObject>& serializerObj)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(Data_abstract::serializeDeserializeContent(serializeDeserialize, serializerObj));
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

std::string LocalUnresolvedAddress::getAsURL() const
{
    std::string retVal;
    try {
        retVal = "qfn:///" + fCoordinatorName + "/" + getIndicesStr();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string LocalUnresolvedAddress::toString() const
{
    std::string retVal;
    try {
        retVal = Object::toString() + " " + printCoordinatorNameAddress() + " " + printIndexedAddress();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

uint64_t LocalUnresolvedAddress::hash() const
{
    uint64_t retVal =
        HashCombine::combine(HashCombine::ofString(TYPENAME), HashCombine::ofString(fCoordinatorName));
    return HashCombine::combine(retVal, hashIndices());
}

bool LocalUnresolvedAddress::operator==(const IObject& other) const
{
    const auto* otherAddress = dynamic_cast<const LocalUnresolvedAddress*>(&other);
    return otherAddress && isSameClass(other) && otherAddress->fCoordinatorName == fCoordinatorName &&
           otherAddress->fIndices == fIndices;
}

// This process's own name is read as an internal address. Another name is left for routing, which
// sends it to main, when this process is not main; main keeps only the names of siblings it knows.
std::shared_ptr<const IObject> LocalUnresolvedAddress::resolved() const
{
    std::shared_ptr<const IObject> retVal;
    try {
        do {
            IAddressHost* internalCoordinator = nullptr;
            ASSIGN(internalCoordinator, IAddressHost::getAvailable());
            const std::string& coordinatorName = getAdjustedCoordinatorName(fCoordinatorName);
            if (coordinatorName == internalCoordinator->getName()) {
                ASSIGN_TYPED(IAddress, internalAddress, InternalAddress::factoryFromIndices(getIndicesStr()));
                retVal = internalAddress->resolved();
                break;
            }
            if (!internalCoordinator->isMainCoordinator() ||
                internalCoordinator->isKnownSiblingCoordinator(coordinatorName))
                retVal = shared_from_this();
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

GUIDClass* LocalUnresolvedAddress::getAddressedGUID() const
{
    return getResolvedAddressedGUID();
}

GUIDClass* LocalUnresolvedAddress::getUpstreamCoordinatorGUID() const
{
    GUIDClass* retVal = nullptr;
    try {
        do {
            IAddressHost* internalCoordinator = nullptr;
            ASSIGN(internalCoordinator, IAddressHost::getAvailable());
            const std::string& coordinatorIndexName = getAdjustedCoordinatorName(fCoordinatorName);
            GUIDClass* upstreamCoordinatorGUID = nullptr;
            // clang-format off
            ASSIGN(upstreamCoordinatorGUID, internalCoordinator->getUpstreamCoordinatorGUID( "", coordinatorIndexName));
            // clang-format on
            retVal = upstreamCoordinatorGUID;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool LocalUnresolvedAddress::isInternalCoordinatorAddress() const
{
    return isResolvedToInternalCoordinator();
}

const std::string& LocalUnresolvedAddress::getHostName() const
{
    return kNoName;
}

}  // namespace Qfn
