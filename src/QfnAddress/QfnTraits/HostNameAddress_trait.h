#pragma once

#include <memory>
#include <string>

#include "QfnAddress/IHostNameAddress.h"
#include "QfnSerializer/SerializeDeserialize.h"

namespace Qfn {

// The host an address goes to; one record.
class HostNameAddress_trait : public virtual IHostNameAddress {
public:
    const std::string& getHostName() const override { return fHostName; }

    // A host of a URL: not empty, without '/', and not read as a GUID (which would make the URL a
    // resolved one).
    static bool isValidHostName(const std::string& hostName);

protected:
    bool serializeDeserializeContent(SerializeDeserialize serializeDeserialize,
                                     const std::shared_ptr<IObject>& serializerObj);
    // "Hostname = " and the host.
    std::string printHostNameAddress() const;

    std::string fHostName;
};

}  // namespace Qfn
