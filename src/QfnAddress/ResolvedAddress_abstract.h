#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "QfnAddress/Address_abstract.h"
#include "QfnAddress/QfnTraits/GUIDAddress_trait.h"

namespace Qfn {

// What the two GUID address classes share: their two GUIDs as content, URL, text, hash and equality.
class ResolvedAddress_abstract : public virtual Address_abstract, public GUIDAddress_trait {
public:
    bool serializeDeserializeContent(SerializeDeserialize serializeDeserialize,
                                     const std::shared_ptr<IObject>& serializerObj) override;
    std::string getAsURL() const override;
    std::string toString() const override;
    uint64_t hash() const override;
    bool operator==(const IObject& other) const override;

protected:
    ResolvedAddress_abstract() = default;
    ~ResolvedAddress_abstract() override = default;

    // Sets both GUIDs, which must not be null.
    bool setGUIDs(GUIDClass* addressedGUID, GUIDClass* upstreamCoordinatorGUID);
};

}  // namespace Qfn
