#include "QfnAddress/QfnTraits/HostNameAddress_trait.h"

#include "QfnLogger/Check.h"
#include "QfnObject/GUIDClass.h"
#include "QfnSerializer/ISerializer.h"

namespace Qfn {

bool HostNameAddress_trait::isValidHostName(const std::string& hostName)
{
    return !hostName.empty() && hostName.find('/') == std::string::npos && !GUIDClass::isGUIDStr(hostName);
}

bool HostNameAddress_trait::serializeDeserializeContent(SerializeDeserialize serializeDeserialize,
                                                        const std::shared_ptr<IObject>& serializerObj)
{
    bool retVal = false;
    try {
        do {
            ASSIGN_TYPED(ISerializer, serializer, serializerObj);
            if (serializeDeserialize == SerializeDeserialize::SERIALIZE) {
                SANITY_CHECK(serializer->putString(fHostName));
            } else if (serializeDeserialize == SerializeDeserialize::DESERIALIZE) {
                if (serializer->atEnd()) {
                    LOG_ERROR("serializer at end");
                    break;
                }
                fHostName = serializer->getString();
                SANITY_CHECK(isValidHostName(fHostName));
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

std::string HostNameAddress_trait::printHostNameAddress() const
{
    std::string retVal;
    try {
        retVal = "Hostname = " + fHostName;
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace Qfn
