#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "QfnAddress/Address_abstract.h"
#include "QfnAddress/QfnTraits/CoordinatorNameAddress_trait.h"
#include "QfnAddress/QfnTraits/HostNameAddress_trait.h"
#include "QfnAddress/QfnTraits/IndexedAddress_trait.h"

namespace Qfn {

struct ClassSupport;

// A service of a coordinator on another host, by names: qfn://host/coordinator/indices.
class RemoteUnresolvedAddress : public virtual Address_abstract,
                                public HostNameAddress_trait,
                                public CoordinatorNameAddress_trait,
                                public IndexedAddress_trait {
public:
    static const std::string TYPENAME;
    const std::string& typeName() const override { return TYPENAME; }

    static std::shared_ptr<IObject> factoryFromCoordinatorNameIndicesHostName(
        const std::string& coordinatorName, const std::string& indices, const std::string& hostName);
    static std::shared_ptr<IObject> factoryFromSerialized(const std::shared_ptr<IObject>& serializerObj);
    static bool registerDeregisterClass(RegisterDeregister registerDeregister);

    bool serializeDeserializeContent(SerializeDeserialize serializeDeserialize,
                                     const std::shared_ptr<IObject>& serializerObj) override;
    std::string getAsURL() const override;
    std::string toString() const override;
    uint64_t hash() const override;
    bool operator==(const IObject& other) const override;
    std::shared_ptr<const IObject> resolved() const override;
    GUIDClass* getAddressedGUID() const override;
    GUIDClass* getUpstreamCoordinatorGUID() const override;
    bool isInternalCoordinatorAddress() const override;

private:
    friend struct ClassSupport;
    RemoteUnresolvedAddress() = default;
    ~RemoteUnresolvedAddress() override = default;
};

}  // namespace Qfn
