#include "QfnAddress/ResolvedAddress_abstract.h"

#include "QfnAddress/QfnTraits/HashCombine.h"
#include "QfnLogger/Check.h"

namespace Qfn {

bool ResolvedAddress_abstract::setGUIDs(GUIDClass* addressedGUID, GUIDClass* upstreamCoordinatorGUID)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(addressedGUID);
            SANITY_CHECK(upstreamCoordinatorGUID);
            fAddressedGUID = addressedGUID;
            fUpstreamCoordinatorGUID = upstreamCoordinatorGUID;
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool ResolvedAddress_abstract::serializeDeserializeContent(SerializeDeserialize serializeDeserialize,
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

std::string ResolvedAddress_abstract::getAsURL() const
{
    return getGUIDAddressURL("");
}

std::string ResolvedAddress_abstract::toString() const
{
    std::string retVal;
    try {
        retVal = Object::toString() + " " + printGUIDAddress();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

uint64_t ResolvedAddress_abstract::hash() const
{
    return HashCombine::combine(HashCombine::ofString(typeName()), hashGUIDs());
}

bool ResolvedAddress_abstract::operator==(const IObject& other) const
{
    const auto* otherAddress = dynamic_cast<const ResolvedAddress_abstract*>(&other);
    return otherAddress && isSameClass(other) && otherAddress->fAddressedGUID == fAddressedGUID &&
           otherAddress->fUpstreamCoordinatorGUID == fUpstreamCoordinatorGUID;
}

}  // namespace Qfn
