#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "QfnAddress/ICoordinatorNameAddress.h"
#include "QfnAddress/IGUIDAddress.h"
#include "QfnAddress/IHostNameAddress.h"
#include "QfnSerializer/SerializeDeserialize.h"

namespace Qfn {

// The two GUIDs of a resolved address: the addressed object and the coordinator messages go through;
// two records, in that order.
class GUIDAddress_trait : public virtual IGUIDAddress,
                          public virtual ICoordinatorNameAddress,
                          public virtual IHostNameAddress {
public:
    GUIDClass* getAddressedGUID() const override { return fAddressedGUID; }
    GUIDClass* getUpstreamCoordinatorGUID() const override { return fUpstreamCoordinatorGUID; }
    // Both GUIDs are the internal coordinator's.
    bool isInternalCoordinatorAddress() const override;
    std::string getGUIDAddressURL(const std::string& tail) const override;
    // What the coordinator's tables know of the upstream coordinator; empty when nothing.
    const std::string& getCoordinatorName() const override;
    const std::string& getHostName() const override;

    // qfn://<upstream>/<addressed>, and "//" with the tail when there is one; empty for a null GUID.
    static std::string makeGUIDAddressURL(GUIDClass* addressedGUID, GUIDClass* upstreamCoordinatorGUID,
                                          const std::string& tail);

protected:
    bool serializeDeserializeContent(SerializeDeserialize serializeDeserialize,
                                     const std::shared_ptr<IObject>& serializerObj);
    // "AddressedGUID = ", " UpstreamCoordinatorGUID = " and the GUIDs.
    std::string printGUIDAddress() const;
    uint64_t hashGUIDs() const;

    GUIDClass* fAddressedGUID = nullptr;
    GUIDClass* fUpstreamCoordinatorGUID = nullptr;
};

}  // namespace Qfn
