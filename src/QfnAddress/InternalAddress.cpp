#include "QfnAddress/InternalAddress.h"

#include "QfnAddress/IAddressHost.h"
#include "QfnAddress/LocalResolvedAddress.h"
#include "QfnAddress/QfnTraits/HashCombine.h"
#include "QfnLogger/Check.h"
#include "QfnObject/ClassSupport.h"

namespace Qfn {

const std::string InternalAddress::TYPENAME = "InternalAddress";

namespace {
const std::string kNoName;
}  // namespace

std::shared_ptr<IObject> InternalAddress::factory()
{
    return ClassSupport::makeEmpty<InternalAddress>();
}

std::shared_ptr<IObject> InternalAddress::factoryFromIndices(const std::string& indices)
{
    std::shared_ptr<IObject> retVal;
    try {
        do {
            ASSIGN_TYPED(InternalAddress, address, factory());
            SANITY_CHECK(address->setIndices(indices));
            retVal = address;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<IObject> InternalAddress::factoryFromSerialized(const std::shared_ptr<IObject>& serializerObj)
{
    return deserializeContentInto(std::dynamic_pointer_cast<IData>(factory()), serializerObj);
}

bool InternalAddress::registerDeregisterClass(RegisterDeregister registerDeregister)
{
    return ClassSupport::registerDeregisterClass(registerDeregister, TYPENAME, &InternalAddress::factory,
                                                 &InternalAddress::factoryFromSerialized);
}

bool InternalAddress::serializeDeserializeContent(SerializeDeserialize serializeDeserialize,
                                                  const std::shared_ptr<IObject>& serializerObj)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(Data_abstract::serializeDeserializeContent(serializeDeserialize, serializerObj));
            SANITY_CHECK(
                IndexedAddress_trait::serializeDeserializeContent(serializeDeserialize, serializerObj));
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string InternalAddress::getAsURL() const
{
    std::string retVal;
    try {
        retVal = "qfn:////" + getIndicesStr();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string InternalAddress::toString() const
{
    std::string retVal;
    try {
        retVal = Object::toString() + " " + printIndexedAddress();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

uint64_t InternalAddress::hash() const
{
    return HashCombine::combine(HashCombine::ofString(TYPENAME), hashIndices());
}

bool InternalAddress::operator==(const IObject& other) const
{
    const auto* otherAddress = dynamic_cast<const InternalAddress*>(&other);
    return otherAddress && isSameClass(other) && otherAddress->fIndices == fIndices;
}

std::shared_ptr<const IObject> InternalAddress::resolved() const
{
    std::shared_ptr<const IObject> retVal;
    try {
        do {
            IAddressHost* internalCoordinator = nullptr;
            ASSIGN(internalCoordinator, IAddressHost::getAvailable());
            GUIDClass* internalCoordinatorGUID = nullptr;
            ASSIGN(internalCoordinatorGUID, internalCoordinator->createGUID());
            if (fIndices.empty()) {
                retVal =
                    LocalResolvedAddress::factoryFromGUIDs(internalCoordinatorGUID, internalCoordinatorGUID);
                break;
            }
            // A path that leads to no service resolves to nothing, without a line: callers decide.
            std::shared_ptr<const IObject> service = internalCoordinator->resolveAddress(shared_from_this());
            if (!service) break;
            GUIDClass* serviceGUID = nullptr;
            ASSIGN(serviceGUID, service->createGUID());
            retVal = LocalResolvedAddress::factoryFromGUIDs(serviceGUID, internalCoordinatorGUID);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

GUIDClass* InternalAddress::getAddressedGUID() const
{
    GUIDClass* retVal = nullptr;
    try {
        do {
            IAddressHost* internalCoordinator = nullptr;
            ASSIGN(internalCoordinator, IAddressHost::getAvailable());
            if (fIndices.empty()) {
                ASSIGN(retVal, internalCoordinator->createGUID());
                break;
            }
            ASSIGN_CONST_TYPED(IObject, resolvedAddress,
                               internalCoordinator->resolveAddress(shared_from_this()));
            ASSIGN_TYPED(IObject, nonConstResolvedAddress,
                         Qfn::Object::getObjectFromID(resolvedAddress->getID()));
            retVal = nonConstResolvedAddress->createGUID();
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

GUIDClass* InternalAddress::getUpstreamCoordinatorGUID() const
{
    GUIDClass* retVal = nullptr;
    try {
        do {
            IAddressHost* internalCoordinator = nullptr;
            ASSIGN(internalCoordinator, IAddressHost::getAvailable());
            ASSIGN(retVal, internalCoordinator->createGUID());
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool InternalAddress::isInternalCoordinatorAddress() const
{
    return isResolvedToInternalCoordinator();
}

std::string InternalAddress::getGUIDAddressURL(const std::string& tail) const
{
    std::shared_ptr<const IGUIDAddress> resolvedAddress =
        std::dynamic_pointer_cast<const IGUIDAddress>(resolved());
    return resolvedAddress ? resolvedAddress->getGUIDAddressURL(tail) : std::string();
}

const std::string& InternalAddress::getCoordinatorName() const
{
    IAddressHost* internalCoordinator = IAddressHost::getAvailable();
    return internalCoordinator ? internalCoordinator->getName() : kNoName;
}

const std::string& InternalAddress::getHostName() const
{
    return kNoName;
}

}  // namespace Qfn
