#include "QfnMessage/Message.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "QfnAddress/IAddress.h"
#include "QfnAddress/IAddressable.h"
#include "QfnLogger/Check.h"
#include "QfnLogger/Log.h"
#include "QfnObject/ClassSupport.h"
#include "QfnParser/model/OMStored.h"
#include "QfnParser/query/OMAccessor.h"
#include "QfnParser/tasks/script/ParseTask.h"
#include "QfnSerializer/ISerializer.h"
#include "QfnUtils/Clock.h"
#include "QfnUtils/Utils.h"

namespace Qfn {

const std::string Message::TYPENAME = "Message";
std::string Message::fIPCLogFile;
std::unordered_map<std::string, uint64_t> Message::fDumpNumbers;
uint64_t Message::fLastDumpNumber = 0;

namespace {

// The dump table is forgotten when it reaches this size, so that a long run with many peers
// does not make it grow for ever; the addresses are then written in full once more.
constexpr size_t kMaxDumpNumbers = 10000;

const int64_t kProcessStartNanoseconds = Clock::nowNanoseconds();

}  // namespace

std::shared_ptr<const IObject> Message::addressOf(const std::shared_ptr<const IObject>& obj)
{
    if (std::dynamic_pointer_cast<const IAddress>(obj)) return obj;
    if (auto addressable = std::dynamic_pointer_cast<const IAddressable>(obj))
        return addressable->getAddressObj();
    return nullptr;
}

std::shared_ptr<IObject> Message::factoryFromSenderDestinationAddressOpCodePayloadStr(
    std::shared_ptr<const IObject> senderObj, std::shared_ptr<const IObject> destinationObj, OpCode opCode,
    const std::string& payload)
{
    std::shared_ptr<IObject> retVal;
    try {
        do {
            std::shared_ptr<const IObject> senderAddressObj;
            ASSIGN(senderAddressObj, addressOf(senderObj));
            std::shared_ptr<const IObject> receiverAddressObj;
            ASSIGN(receiverAddressObj, addressOf(destinationObj));
            ASSIGN_TYPED(Message, message, ClassSupport::makeEmpty<Message>());
            message->fSenderAddressObj = std::move(senderAddressObj);
            message->fReceiverAddressObj = std::move(receiverAddressObj);
            message->fOpCode = opCode;
            message->fPayload = payload;
            retVal = message;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<IObject> Message::factoryFromSenderDestinationAddressOpCodeOMNode(
    std::shared_ptr<const IObject> senderObj, std::shared_ptr<const IObject> destinationObj, OpCode opCode,
    std::shared_ptr<IOMNode> messageNode)
{
    std::shared_ptr<IObject> retVal;
    try {
        do {
            SANITY_CHECK(messageNode);
            ASSIGN_TYPED(IObject, messageObj,
                         factoryFromSenderDestinationAddressOpCodePayloadStr(
                             std::move(senderObj), std::move(destinationObj), opCode,
                             OMAccessor::stringify(*messageNode)));
            retVal = messageObj;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<IObject> Message::factoryFromSerialized(const std::shared_ptr<IObject>& serializerObj)
{
    return deserializeContentInto(std::dynamic_pointer_cast<IData>(ClassSupport::makeEmpty<Message>()),
                                  serializerObj);
}

void Message::deleter(Message* message)
{
    ClassSupport::deleter(message);
}

bool Message::registerDeregisterClass(RegisterDeregister registerDeregister)
{
    return ClassSupport::registerDeregisterClass(registerDeregister, TYPENAME, nullptr,
                                                 &Message::factoryFromSerialized);
}

bool Message::needsToLaunchForOpCode(OpCode opCode)
{
    return opCode == OpCode::PING || opCode == OpCode::EVAL || opCode == OpCode::EVAL_FILE ||
           opCode == OpCode::DATA_REQUEST;
}

bool Message::serializeDeserializeContent(SerializeDeserialize serializeDeserialize,
                                          const std::shared_ptr<IObject>& serializerObj)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(serializerObj);
            ASSIGN_TYPED(ISerializer, serializer, serializerObj);
            if (serializeDeserialize == SerializeDeserialize::SERIALIZE) {
                SANITY_CHECK(Data_abstract::serialize(fSenderAddressObj, serializerObj));
                SANITY_CHECK(Data_abstract::serialize(fReceiverAddressObj, serializerObj));
                const std::string opCodeStr = std::to_string(static_cast<int32_t>(fOpCode));
                SANITY_CHECK(serializer->putString(opCodeStr));
                SANITY_CHECK(serializer->putString(fPayload));
            } else if (serializeDeserialize == SerializeDeserialize::DESERIALIZE) {
                // clang-format off
                SANITY_CHECK(! serializer->atEnd());
                // clang-format on
                // Addresses only, as the factories make: a cut address record reads as the missing value.
                ASSIGN_CONST_TYPED(IAddress, senderAddress,
                                   Data_abstract::factoryFromTypePrefixedSerialized(serializerObj));
                ASSIGN_CONST_TYPED(IAddress, receiverAddress,
                                   Data_abstract::factoryFromTypePrefixedSerialized(serializerObj));
                fSenderAddressObj = std::move(senderAddress);
                fReceiverAddressObj = std::move(receiverAddress);
                const std::string opCodeStr = serializer->getString();
                SANITY_CHECK(Utils::isNumeric(opCodeStr));
                const long long opCodeValue = std::strtoll(opCodeStr.c_str(), nullptr, 10);
                SANITY_CHECK(opCodeValue >= INT32_MIN && opCodeValue <= INT32_MAX);
                fOpCode = static_cast<OpCode>(opCodeValue);
                fPayload = serializer->getString();
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

std::shared_ptr<OMStored> Message::getAsOMNode() const
{
    std::shared_ptr<OMStored> retVal;
    try {
        do {
            // clang-format off
            SANITY_CHECK(! fPayload.empty());
            // clang-format on
            retVal = OMStored::undefinedFactory();
            SANITY_CHECK(retVal);
            if (!ParseTask::call(retVal, fPayload)) {
                LOG_CHECK_FAILED("SANITY_CHECK", "ParseTask::call(retVal, fPayload)");
                retVal = nullptr;
                break;
            }
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
        retVal = nullptr;
    }
    return retVal;
}

bool Message::setReceiverAddressObj(std::shared_ptr<const IObject> newReceiverAddressObj)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(newReceiverAddressObj);
            fReceiverAddressObj = std::move(newReceiverAddressObj);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

void Message::clearDumpTable()
{
    fDumpNumbers.clear();
    fLastDumpNumber = 0;
}

std::string Message::dumpNumber(const std::string& text, std::string& definitions)
{
    auto found = fDumpNumbers.find(text);
    if (found != fDumpNumbers.end()) return "#" + std::to_string(found->second);
    if (fDumpNumbers.size() >= kMaxDumpNumbers) clearDumpTable();
    const uint64_t number = ++fLastDumpNumber;
    fDumpNumbers.emplace(text, number);
    const std::string numberText = "#" + std::to_string(number);
    definitions += "    " + numberText + " = " + text + "\n";
    return numberText;
}

std::string Message::toString() const
{
    std::string retVal;
    try {
        do {
            const double seconds = double(Clock::nowNanoseconds() - kProcessStartNanoseconds) / 1e9;
            std::string dump = Object::toString() + " " + Utils::getTimeStamp() + " " +
                               Utils::stringWithFormat("%f", seconds) + "\n";
            ASSIGN_CONST_TYPED(IAddress, senderAddress, fSenderAddressObj);
            ASSIGN_CONST_TYPED(IAddress, receiverAddress, fReceiverAddressObj);
            std::string numbers[2];
            const std::shared_ptr<const IAddress> addresses[2] = {senderAddress, receiverAddress};
            for (int side = 0; side < 2; ++side) {
                numbers[side] = dumpNumber(addresses[side]->getAsURL(), dump);
                if (auto resolvedAddress =
                        std::dynamic_pointer_cast<const IAddress>(addresses[side]->resolved()))
                    numbers[side] += " (" + dumpNumber(resolvedAddress->getAsURL(), dump) + ")";
            }
            dump += "  opcode = " + std::to_string(static_cast<int32_t>(fOpCode)) + " " +
                    Object::opCodeToString(fOpCode) + "\n";
            dump += "  sender = " + numbers[0] + "\n";
            dump += "  receiver = " + numbers[1] + "\n";
            dump += "  payload = " + Utils::enquoteString(fPayload, '"');
            retVal = std::move(dump);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

void Message::logIPCMessage(std::shared_ptr<const IObject> ipcMessageObj)
{
    try {
        do {
            if (!Log::getIsLogIPC()) break;
            ASSIGN_CONST_TYPED(IMessage, ipcMessage, ipcMessageObj);
            const std::string text = ipcMessage->toString() + "\n";
            if (fIPCLogFile.empty()) {
                std::fwrite(text.data(), 1, text.size(), stderr);
                break;
            }
            // A log file that cannot be opened is left out in silence: the message still goes.
            if (FILE* logFile = std::fopen(fIPCLogFile.c_str(), "a")) {
                std::fwrite(text.data(), 1, text.size(), logFile);
                std::fclose(logFile);
            }
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

}  // namespace Qfn
