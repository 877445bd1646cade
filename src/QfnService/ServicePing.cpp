#include "QfnService/ServicePing.h"

#include "QfnLogger/Check.h"
#include "QfnMessage/Message.h"
#include "QfnService/IServiceHost.h"

namespace Qfn {

const std::string ServicePing::TYPENAME = "ServicePing";
const std::string ServicePing::SERVICE_NAME = "net.quillfern.service.ping";

bool ServicePing::receiveMessage(std::shared_ptr<const IObject> messageObj)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(Service_abstract::receiveMessage(messageObj));
            ASSIGN_CONST_TYPED(IMessage, message, messageObj);
            std::shared_ptr<const IObject> senderAddressObj;
            ASSIGN(senderAddressObj, message->getSenderAddressObj());
            if (message->getOpCode() == OpCode::PING) {
                ASSIGN_CONST_TYPED(
                    IMessage, pingMessage,
                    Message::factoryFromSenderDestinationAddressOpCodePayloadStr(
                        getAddressObj(), senderAddressObj, OpCode::PING_REPLY, message->getPayloadStr()));
                IServiceHost* internalCoordinator = IServiceHost::get();
                SANITY_CHECK(internalCoordinator);
                SANITY_CHECK(internalCoordinator->queueMessage(pingMessage));
            }
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace Qfn
