// The message queue and the routing decision: a service here, a sibling coordinator, the gateway,
// or nowhere. Also the coordinator as the receiver of messages, and messages from pipe and socket.
#include <unistd.h>

#include <cstdio>

#include "QfnAddress/ICoordinatorNameAddress.h"
#include "QfnAddress/IGUIDAddress.h"
#include "QfnAddress/IHostNameAddress.h"
#include "QfnAddress/IIndexedAddress.h"
#include "QfnAddress/InternalAddress.h"
#include "QfnAddress/LocalResolvedAddress.h"
#include "QfnAddress/LocalUnresolvedAddress.h"
#include "QfnAddress/RemoteResolvedAddress.h"
#include "QfnAddress/RemoteUnresolvedAddress.h"
#include "QfnCoordinator/InternalCoordinator.h"
#include "QfnCoordinator/SiblingCoordinator.h"
#include "QfnEvent/Event.h"
#include "QfnLogger/Check.h"
#include "QfnLogger/Log.h"
#include "QfnMessage/Message.h"
#include "QfnParser/model/OMStored.h"
#include "QfnParser/model/OMType.h"
#include "QfnParser/query/OMAccessor.h"
#include "QfnService/EvalThenSendMessageTask.h"
#include "QfnTask/Task.h"
#include "QfnUtils/Utils.h"

namespace Qfn {

namespace {

const std::string kMainCoordinatorName = "net.quillfern.coordinator.main";
const std::string kGatewayCoordinatorName = "net.quillfern.coordinator.gateway";

bool isRemote(const std::string& typeName)
{
    return typeName == RemoteUnresolvedAddress::TYPENAME || typeName == RemoteResolvedAddress::TYPENAME;
}

bool isLocal(const std::string& typeName)
{
    return typeName == LocalUnresolvedAddress::TYPENAME || typeName == LocalResolvedAddress::TYPENAME;
}

}  // namespace

bool InternalCoordinator::queueMessage(std::shared_ptr<const IObject> messageObj)
{
    bool retVal = false;
    try {
        do {
            ASSIGN_CONST_TYPED(IMessage, message, messageObj);
            fMessageQueue.push_back(std::move(messageObj));
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool InternalCoordinator::processMessageQueues()
{
    bool retVal = false;
    try {
        do {
            if (fMessageQueue.empty()) {
                retVal = true;
                break;
            }
            // Messages queued while these are routed wait for the next call. A call from inside the
            // walk (a script run at once while a message is delivered) starts from its own storage.
            std::vector<std::shared_ptr<const IObject>> nestedWalk;
            std::vector<std::shared_ptr<const IObject>>& messages =
                fIsProcessingMessageQueue == 0 ? fRoutingMessages : nestedWalk;
            messages.swap(fMessageQueue);
            std::shared_ptr<IObject> self = shared_from_this();
            ++fIsProcessingMessageQueue;
            bool allOK = true;
            for (std::shared_ptr<const IObject>& messageObj : messages) {
                if (!reportMessagingActivityInEventLoop()) {
                    LOG_CHECK_FAILED("SANITY_CHECK", "reportMessagingActivityInEventLoop()");
                    allOK = false;
                    break;
                }
                allOK = relayMessage(messageObj) && allOK;
                messageObj.reset();
            }
            messages.clear();
            --fIsProcessingMessageQueue;
            SANITY_CHECK(allOK);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool InternalCoordinator::fireMessageEvent(const char* eventName,
                                           const std::shared_ptr<const IObject>& messageObj)
{
    bool retVal = false;
    try {
        do {
            std::shared_ptr<IObject> event;
            ASSIGN(event, Event::factoryFromNamePayload(eventName, messageObj));
            SANITY_CHECK(this->fireEvent(event));
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string InternalCoordinator::getForwardToCoordinatorName(
    const std::shared_ptr<const IObject>& resolvedReceiverAddress) const
{
    std::string forwardToCoordinatorName;
    const std::string& typeName = resolvedReceiverAddress->typeName();
    if (isRemote(typeName)) {
        // Only the gateway sends to other hosts; every other coordinator hands remote traffic on.
        if (!fGatewaySendMethod) forwardToCoordinatorName = kGatewayCoordinatorName;
    } else if (isLocal(typeName)) {
        if (auto named = std::dynamic_pointer_cast<const ICoordinatorNameAddress>(resolvedReceiverAddress))
            forwardToCoordinatorName = named->getCoordinatorName();
        // A coordinator GUID that is not known here is main's business: main learnt it, or no one did.
        auto guidAddress = std::dynamic_pointer_cast<const IGUIDAddress>(resolvedReceiverAddress);
        if (forwardToCoordinatorName.empty() && guidAddress && !isMainCoordinator() &&
            guidAddress->getUpstreamCoordinatorGUID() != createGUID())
            forwardToCoordinatorName = kMainCoordinatorName;
    }
    return forwardToCoordinatorName;
}

bool InternalCoordinator::relayMessage(std::shared_ptr<const IObject> messageObj)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(messageObj);
            Message::logIPCMessage(messageObj);
            ASSIGN_TYPED(IMessage, message, Qfn::Object::getObjectFromID(messageObj->getID()));
            ASSIGN_CONST_TYPED(IAddress, receiverAddress, message->getReceiverAddressObj());
            LOG_NOTE(Utils::stringWithFormat("receiverAddress: %s", receiverAddress->getAsURL().c_str()));
            std::shared_ptr<const IAddress> resolvedReceiverAddress =
                std::dynamic_pointer_cast<const IAddress>(receiverAddress->resolved());
            if (!resolvedReceiverAddress) {
                LOG_NOTE(Utils::stringWithFormat("discarding message receiverAddress: %s",
                                                 receiverAddress->getAsURL().c_str()));
                retVal = true;
                break;
            }
            LOG_NOTE(Utils::stringWithFormat("resolvedReceiverAddress: %s",
                                             resolvedReceiverAddress->getAsURL().c_str()));
            std::string hostName;
            if (auto hostNameAddress =
                    std::dynamic_pointer_cast<const IHostNameAddress>(resolvedReceiverAddress))
                hostName = hostNameAddress->getHostName();
            LOG_NOTE(Utils::stringWithFormat("hostName: %s", hostName.c_str()));
            std::string forwardToCoordinatorName = getForwardToCoordinatorName(resolvedReceiverAddress);
            LOG_NOTE(
                Utils::stringWithFormat("forwardToCoordinatorName: %s", forwardToCoordinatorName.c_str()));
            if (forwardToCoordinatorName == fCoordinatorName) forwardToCoordinatorName.clear();
            if (!forwardToCoordinatorName.empty()) {
                // Only main talks to the other coordinators of the host: the fabric on a host is a star.
                if (!isMainCoordinator() && forwardToCoordinatorName != kMainCoordinatorName)
                    forwardToCoordinatorName = kMainCoordinatorName;
                LOG_NOTE(Utils::stringWithFormat("adjusted forwardToCoordinatorName: %s",
                                                 forwardToCoordinatorName.c_str()));
                std::shared_ptr<IObject> siblingObj =
                    SiblingCoordinator::getSiblingCoordinator(forwardToCoordinatorName);
                if (!siblingObj) {
                    LOG_NOTE("no matching sibling coordinator");
                    ASSIGN_TYPED(SiblingCoordinator, newSiblingCoordinator,
                                 SiblingCoordinator::factoryFromParentName(shared_from_this(),
                                                                           forwardToCoordinatorName));
                    siblingObj = newSiblingCoordinator;
                }
                ASSIGN_TYPED(SiblingCoordinator, existingSiblingCoordinator, siblingObj);
                LOG_NOTE("relaying to sibling coordinator");
                SANITY_CHECK(existingSiblingCoordinator->relayOutgoingMessage(messageObj));
                SANITY_CHECK(fireMessageEvent("messageRelayed", messageObj));
                retVal = true;
                break;
            }
            if (fGatewaySendMethod && !hostName.empty() && !isLocalHost(hostName)) {
                const std::string serialized = Data_abstract::serializeToStr(messageObj);
                SANITY_CHECK(!serialized.empty());
                LOG_NOTE(
                    Utils::stringWithFormat("gatewaySend to %s: %s", hostName.c_str(), serialized.c_str()));
                fGatewaySendMethod(hostName, serialized);
                retVal = true;
                break;
            }
            // A GUID address of a coordinator that is neither this one nor reachable leads nowhere.
            auto guidAddress = std::dynamic_pointer_cast<const IGUIDAddress>(resolvedReceiverAddress);
            if (guidAddress && guidAddress->getUpstreamCoordinatorGUID() != createGUID()) {
                LOG_NOTE(Utils::stringWithFormat("discarding message receiverAddress: %s",
                                                 receiverAddress->getAsURL().c_str()));
                retVal = true;
                break;
            }
            std::shared_ptr<const IObject> destinationObj = resolveAddress(resolvedReceiverAddress);
            if (!destinationObj) {
                LOG_CHECK_FAILED(
                    "ASSIGN_CONST_TYPED",
                    "IObject destinationObj = internalCoordinator->resolveAddress(resolvedReceiverAddress);");
                fireMessageEvent("messageNotRelayed", messageObj);
                break;
            }
            std::shared_ptr<IReceiver> receiver =
                std::dynamic_pointer_cast<IReceiver>(Object::getObjectFromID(destinationObj->getID()));
            if (!receiver) {
                LOG_ERROR("destination has no IReceiver interface");
                fireMessageEvent("messageNotRelayed", messageObj);
                break;
            }
            SANITY_CHECK(receiver->receiveMessage(message));
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool InternalCoordinator::receiveMessage(std::shared_ptr<const IObject> messageObj)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(Service_abstract::receiveMessage(messageObj));
            ASSIGN_CONST_TYPED(IMessage, message, messageObj);
            const OpCode opCode = message->getOpCode();
            if (opCode == OpCode::TERMINATE) {
                LOG_NOTE("terminate requested");
                SANITY_CHECK(terminate());
            } else if (opCode == OpCode::STD_OUT || opCode == OpCode::STD_ERR) {
                std::shared_ptr<OMStored> node = message->getAsOMNode();
                if (!node || node->getType() == OMType::Undefined) {
                    retVal = true;
                    break;
                }
                // Text is UTF-8 on this platform, at a terminal as in a file: it is written as it is.
                const std::string text = OMAccessor(node).getAsString();
                FILE* stream = opCode == OpCode::STD_OUT ? stdout : stderr;
                std::fwrite(text.data(), 1, text.size(), stream);
                std::fflush(stream);
            }
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool InternalCoordinator::receiveMessageStr(const std::string& ipcMessageStr,
                                            const std::string& senderCoordinatorName)
{
    bool retVal = false;
    try {
        do {
            std::shared_ptr<IObject> ipcMessageObj = Data_abstract::deserializeFromStr(ipcMessageStr);
            SANITY_CHECK(ipcMessageObj);
            ASSIGN_TYPED(IMessage, message, ipcMessageObj);
            ASSIGN_CONST_TYPED(ICoordinatorNameAddress, coordinatorNameAddress,
                               message->getSenderAddressObj());
            SANITY_CHECK(coordinatorNameAddress->getCoordinatorName() != fCoordinatorName);
            SANITY_CHECK(registerSenderAddressObj(message->getSenderAddressObj(), senderCoordinatorName));
            SANITY_CHECK(queueMessage(ipcMessageObj));
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool InternalCoordinator::receiveGatewayMessageStr(const std::string& remoteIPAddress,
                                                   const std::string& messageStr)
{
    bool retVal = false;
    try {
        do {
            std::shared_ptr<IObject> messageObj = Data_abstract::deserializeFromStr(messageStr);
            SANITY_CHECK(messageObj);
            ASSIGN_TYPED(IMessage, message, messageObj);
            std::shared_ptr<const IObject> originalReceiverObj = message->getReceiverAddressObj();
            ASSIGN_CONST_TYPED(IHostNameAddress, receiverHostNameAddress, originalReceiverObj);
            // The name the sender used for this machine means this machine from now on.
            const std::string& hostName = receiverHostNameAddress->getHostName();
            if (!hostName.empty()) {
                SANITY_CHECK(registerHostName(hostName, "127.0.0.1"));
            }
            ASSIGN_CONST_TYPED(IGUIDAddress, senderGUIDAddress, message->getSenderAddressObj());
            GUIDClass* addressedGUID = senderGUIDAddress->getAddressedGUID();
            GUIDClass* upstreamCoordinatorGUID = senderGUIDAddress->getUpstreamCoordinatorGUID();
            SANITY_CHECK(addressedGUID && upstreamCoordinatorGUID);
            // Answers go back over the connection the coordinator last wrote from.
            fSenderHostNames[upstreamCoordinatorGUID] = remoteIPAddress;
            std::shared_ptr<IObject> senderAddress;
            ASSIGN(senderAddress,
                   RemoteResolvedAddress::factoryFromGUIDs(addressedGUID, upstreamCoordinatorGUID));
            std::shared_ptr<const IObject> receiverAddress = originalReceiverObj;
            const std::string& receiverType = originalReceiverObj->typeName();
            if (receiverType == RemoteUnresolvedAddress::TYPENAME) {
                ASSIGN_CONST_TYPED(ICoordinatorNameAddress, named, originalReceiverObj);
                ASSIGN_CONST_TYPED(IIndexedAddress, indexed, originalReceiverObj);
                ASSIGN(receiverAddress, LocalUnresolvedAddress::factoryFromCoordinatorNameIndices(
                                            named->getCoordinatorName(), indexed->getIndicesStr()));
            } else if (receiverType == RemoteResolvedAddress::TYPENAME) {
                ASSIGN_CONST_TYPED(IGUIDAddress, guidReceiver, originalReceiverObj);
                ASSIGN(receiverAddress,
                       LocalResolvedAddress::factoryFromGUIDs(guidReceiver->getAddressedGUID(),
                                                              guidReceiver->getUpstreamCoordinatorGUID()));
            }
            std::shared_ptr<IObject> repackagedMessage;
            ASSIGN(repackagedMessage,
                   Message::factoryFromSenderDestinationAddressOpCodePayloadStr(
                       senderAddress, receiverAddress, message->getOpCode(), message->getPayloadStr()));
            LOG_NOTE(Utils::stringWithFormat("original message: %s", messageObj->toString().c_str()));
            LOG_NOTE(
                Utils::stringWithFormat("repackaged message: %s", repackagedMessage->toString().c_str()));
            SANITY_CHECK(registerSenderAddressObj(message->getSenderAddressObj()));
            SANITY_CHECK(queueMessage(repackagedMessage));
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool InternalCoordinator::registerSenderAddressObj(std::shared_ptr<const IObject> senderAddressObj,
                                                   const std::string& coordinatorName)
{
    bool retVal = false;
    try {
        do {
            ASSIGN_CONST_TYPED(IAddress, senderAddress, senderAddressObj);
            ASSIGN_CONST_TYPED(IGUIDAddress, senderGUIDAddress, senderAddressObj);
            ASSIGN_CONST_TYPED(IHostNameAddress, senderHostNameAddress, senderAddressObj);
            GUIDClass* senderGUID = nullptr;
            ASSIGN(senderGUID, senderGUIDAddress->getAddressedGUID());
            GUIDClass* upstreamCoordinatorGUID = nullptr;
            ASSIGN(upstreamCoordinatorGUID, senderGUIDAddress->getUpstreamCoordinatorGUID());
            // The first hop that told us of a GUID stays its next hop.
            if (upstreamCoordinatorGUID != createGUID()) {
                const std::string& hostName = senderHostNameAddress->getHostName();
                if (!hostName.empty() && !fSenderHostNames.count(upstreamCoordinatorGUID))
                    fSenderHostNames[upstreamCoordinatorGUID] = hostName;
                if (!coordinatorName.empty() && !fSenderCoordinatorNames.count(upstreamCoordinatorGUID))
                    fSenderCoordinatorNames[upstreamCoordinatorGUID] = coordinatorName;
            }
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// An index path is walked down from the coordinator; a GUID address names a registered service.
// Names of this or another coordinator first resolve to one of those two forms.
std::shared_ptr<const IObject> InternalCoordinator::resolveAddress(std::shared_ptr<const IObject> addressObj)
{
    std::shared_ptr<const IObject> retVal;
    try {
        do {
            SANITY_CHECK(addressObj);
            if (addressObj->typeName() == InternalAddress::TYPENAME) {
                ASSIGN_CONST_TYPED(IIndexedAddress, indexedAddress, addressObj);
                const std::vector<std::string>& indices = indexedAddress->getIndices();
                std::shared_ptr<IService> curService =
                    std::dynamic_pointer_cast<IService>(shared_from_this());
                bool isEveryIndexNumeric = true;
                // A name without an index means the first service of that name.
                for (size_t position = 0; curService && position < indices.size(); position += 2) {
                    const bool hasIndex = position + 1 < indices.size();
                    const std::string& indexStr = hasIndex ? indices[position + 1] : std::string("0");
                    isEveryIndexNumeric = Utils::isNumeric(indexStr);
                    if (!isEveryIndexNumeric) break;
                    curService = std::dynamic_pointer_cast<IService>(curService->getChildByNameIndex(
                        indices[position], std::strtoull(indexStr.c_str(), nullptr, 10)));
                }
                SANITY_CHECK(isEveryIndexNumeric);
                retVal = curService;
                break;
            }
            if (std::dynamic_pointer_cast<const IIndexedAddress>(addressObj)) {
                ASSIGN_CONST_TYPED(IAddress, address, addressObj);
                std::shared_ptr<const IObject> resolvedAddress = address->resolved();
                // An address that stays a name leads to another coordinator, not to an object here.
                if (!resolvedAddress || std::dynamic_pointer_cast<const IIndexedAddress>(resolvedAddress))
                    break;
                retVal = resolveAddress(resolvedAddress);
                break;
            }
            ASSIGN_CONST_TYPED(IGUIDAddress, guidAddress, addressObj);
            GUIDClass* guid = guidAddress->getAddressedGUID();
            if (!guid) break;
            retVal = std::dynamic_pointer_cast<const IService>(Object::getRegisteredObject(guid));
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

void InternalCoordinator::forgetSenderHost(const std::string& hostName)
{
    for (auto entry = fSenderHostNames.begin(); entry != fSenderHostNames.end();) {
        if (entry->second == hostName) {
            fSenderCoordinatorNames.erase(entry->first);
            entry = fSenderHostNames.erase(entry);
        } else {
            ++entry;
        }
    }
}

}  // namespace Qfn
