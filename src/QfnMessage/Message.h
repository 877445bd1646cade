#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>

#include "QfnData/Data_abstract.h"
#include "QfnMessage/IMessage.h"
#include "QfnMessage/OpCode.h"

namespace Qfn {

// The unit of exchange: sender and receiver addresses, an opcode, a payload text. It serializes
// as the two addresses (type-prefixed), the opcode's decimal number and the payload.
class Message : public virtual Data_abstract, public virtual IMessage {
public:
    static const std::string TYPENAME;
    const std::string& typeName() const override { return TYPENAME; }

    // Sender and destination may be addresses or any objects that have one (services, coordinators).
    static std::shared_ptr<IObject> factoryFromSenderDestinationAddressOpCodePayloadStr(
        std::shared_ptr<const IObject> senderObj, std::shared_ptr<const IObject> destinationObj,
        OpCode opCode, const std::string& payload);
    // The payload is the node's text in the language's syntax.
    static std::shared_ptr<IObject> factoryFromSenderDestinationAddressOpCodeOMNode(
        std::shared_ptr<const IObject> senderObj, std::shared_ptr<const IObject> destinationObj,
        OpCode opCode, std::shared_ptr<IOMNode> messageNode);
    static std::shared_ptr<IObject> factoryFromSerialized(const std::shared_ptr<IObject>& serializerObj);
    static void deleter(Message* message);
    static bool registerDeregisterClass(RegisterDeregister registerDeregister);

    // Whether a message of this opcode for a sibling that is not running justifies launching it.
    static bool needsToLaunchForOpCode(OpCode opCode);
    // Writes the message's dump when the log switch logIPC is on: to the file set here, else to
    // standard error.
    static void logIPCMessage(std::shared_ptr<const IObject> ipcMessageObj);
    static void setIPCLogFile(const std::string& path) { fIPCLogFile = path; }
    // Forgets the short numbers of the addresses that dumps have shown.
    static void clearDumpTable();

    bool serializeDeserializeContent(SerializeDeserialize serializeDeserialize,
                                     const std::shared_ptr<IObject>& serializerObj) override;
    OpCode getOpCode() const override { return fOpCode; }
    const std::string& getPayloadStr() const override { return fPayload; }
    std::shared_ptr<const IObject> getSenderAddressObj() const override { return fSenderAddressObj; }
    std::shared_ptr<const IObject> getReceiverAddressObj() const override { return fReceiverAddressObj; }
    std::shared_ptr<OMStored> getAsOMNode() const override;
    bool setReceiverAddressObj(std::shared_ptr<const IObject> newReceiverAddressObj) override;
    // A dump over several lines; an address is written in full the first time, as #n afterwards.
    std::string toString() const override;

private:
    friend struct ClassSupport;
    Message() = default;
    ~Message() override = default;

    // The address an object stands for: itself when it is one, its getAddressObj() when it has one.
    static std::shared_ptr<const IObject> addressOf(const std::shared_ptr<const IObject>& obj);
    // "#n" for an address text, with a definition line added to the dump the first time.
    static std::string dumpNumber(const std::string& text, std::string& definitions);

    std::shared_ptr<const IObject> fSenderAddressObj;
    std::shared_ptr<const IObject> fReceiverAddressObj;
    OpCode fOpCode = OpCode::NONE;
    std::string fPayload;

    static std::string fIPCLogFile;
    static std::unordered_map<std::string, uint64_t> fDumpNumbers;
    static uint64_t fLastDumpNumber;
};

}  // namespace Qfn
