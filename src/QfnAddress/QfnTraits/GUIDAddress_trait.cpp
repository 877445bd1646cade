#include "QfnAddress/QfnTraits/GUIDAddress_trait.h"

#include "QfnAddress/IAddressHost.h"
#include "QfnAddress/QfnTraits/HashCombine.h"
#include "QfnLogger/Check.h"
#include "QfnObject/GUIDClass.h"
#include "QfnSerializer/ISerializer.h"

namespace Qfn {

namespace {

const std::string kNoName;

std::string guidText(GUIDClass* guid)
{
    return guid ? std::string(guid->toString(GUIDStringFormat::UPPERCASE_DASHED)) : std::string();
}

}  // namespace

bool GUIDAddress_trait::isInternalCoordinatorAddress() const
{
    bool retVal = false;
    try {
        do {
            IAddressHost* internalCoordinator = nullptr;
            ASSIGN(internalCoordinator, IAddressHost::getAvailable());
            GUIDClass* internalCoordinatorGUID = nullptr;
            ASSIGN(internalCoordinatorGUID, internalCoordinator->createGUID());
            retVal = fAddressedGUID == internalCoordinatorGUID &&
                     fUpstreamCoordinatorGUID == internalCoordinatorGUID;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string GUIDAddress_trait::getGUIDAddressURL(const std::string& tail) const
{
    return makeGUIDAddressURL(fAddressedGUID, fUpstreamCoordinatorGUID, tail);
}

const std::string& GUIDAddress_trait::getCoordinatorName() const
{
    IAddressHost* internalCoordinator = IAddressHost::getAvailable();
    return internalCoordinator ? internalCoordinator->getCoordinatorName(fUpstreamCoordinatorGUID) : kNoName;
}

const std::string& GUIDAddress_trait::getHostName() const
{
    IAddressHost* internalCoordinator = IAddressHost::getAvailable();
    return internalCoordinator ? internalCoordinator->getHostName(fUpstreamCoordinatorGUID) : kNoName;
}

std::string GUIDAddress_trait::makeGUIDAddressURL(GUIDClass* addressedGUID,
                                                  GUIDClass* upstreamCoordinatorGUID, const std::string& tail)
{
    std::string retVal;
    try {
        do {
            SANITY_CHECK(addressedGUID);
            SANITY_CHECK(upstreamCoordinatorGUID);
            retVal = "qfn://" + guidText(upstreamCoordinatorGUID) + "/" + guidText(addressedGUID);
            if (!tail.empty()) retVal += "//" + tail;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool GUIDAddress_trait::serializeDeserializeContent(SerializeDeserialize serializeDeserialize,
                                                    const std::shared_ptr<IObject>& serializerObj)
{
    bool retVal = false;
    try {
        do {
            ASSIGN_TYPED(ISerializer, serializer, serializerObj);
            if (serializeDeserialize == SerializeDeserialize::SERIALIZE) {
                SANITY_CHECK(serializer->putGUID(fAddressedGUID));
                SANITY_CHECK(serializer->putGUID(fUpstreamCoordinatorGUID));
            } else if (serializeDeserialize == SerializeDeserialize::DESERIALIZE) {
                if (serializer->atEnd()) {
                    LOG_ERROR("serializer at end");
                    break;
                }
                fAddressedGUID = serializer->getGUID();
                if (serializer->atEnd()) {
                    LOG_ERROR("serializer at end");
                    break;
                }
                fUpstreamCoordinatorGUID = serializer->getGUID();
                // A resolved address always has both: an empty record is no GUID.
                SANITY_CHECK(fAddressedGUID);
                SANITY_CHECK(fUpstreamCoordinatorGUID);
            } else {
                LOG_ERROR("no serializeDeserialize");
                break;
            }
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string GUIDAddress_trait::printGUIDAddress() const
{
    std::string retVal;
    try {
        retVal = "AddressedGUID = " + guidText(fAddressedGUID) +
                 " UpstreamCoordinatorGUID = " + guidText(fUpstreamCoordinatorGUID);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

uint64_t GUIDAddress_trait::hashGUIDs() const
{
    return HashCombine::combine(reinterpret_cast<uintptr_t>(fAddressedGUID),
                                reinterpret_cast<uintptr_t>(fUpstreamCoordinatorGUID));
}

}  // namespace Qfn
