#include "QfnAddress/QfnTraits/CoordinatorNameAddress_trait.h"

#include "QfnAddress/QfnTraits/AddressName.h"
#include "QfnLogger/Check.h"
#include "QfnSerializer/ISerializer.h"

namespace Qfn {

bool CoordinatorNameAddress_trait::serializeDeserializeContent(SerializeDeserialize serializeDeserialize,
                                                               const std::shared_ptr<IObject>& serializerObj)
{
    bool retVal = false;
    try {
        do {
            ASSIGN_TYPED(ISerializer, serializer, serializerObj);
            if (serializeDeserialize == SerializeDeserialize::SERIALIZE) {
                SANITY_CHECK(AddressName::isValid(fCoordinatorName));
                SANITY_CHECK(serializer->putString(fCoordinatorName));
            } else if (serializeDeserialize == SerializeDeserialize::DESERIALIZE) {
                if (serializer->atEnd()) {
                    LOG_ERROR("serializer at end");
                    break;
                }
                fCoordinatorName = serializer->getString();
                SANITY_CHECK(AddressName::isValid(fCoordinatorName));
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

std::string CoordinatorNameAddress_trait::printCoordinatorNameAddress() const
{
    std::string retVal;
    try {
        retVal = "Coordinator = " + fCoordinatorName;
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace Qfn
