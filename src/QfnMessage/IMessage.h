#pragma once

#include <memory>
#include <string>

#include "QfnData/IData.h"
#include "QfnParser/Forward.h"

namespace Qfn {

enum class OpCode : int32_t;

// A sender, a receiver, an opcode and a payload text: what services and coordinators exchange.
class IMessage : public virtual IData {
public:
    virtual OpCode getOpCode() const = 0;
    virtual const std::string& getPayloadStr() const = 0;
    virtual std::shared_ptr<const IObject> getSenderAddressObj() const = 0;
    virtual std::shared_ptr<const IObject> getReceiverAddressObj() const = 0;
    // The payload parsed as a value of the language; empty when it is empty or does not parse.
    virtual std::shared_ptr<OMStored> getAsOMNode() const = 0;
    // A coordinator that repackages a message may point it elsewhere.
    virtual bool setReceiverAddressObj(std::shared_ptr<const IObject> newReceiverAddressObj) = 0;
};

}  // namespace Qfn
