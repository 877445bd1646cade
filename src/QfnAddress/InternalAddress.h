#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "QfnAddress/Address_abstract.h"
#include "QfnAddress/IGUIDAddress.h"
#include "QfnAddress/QfnTraits/IndexedAddress_trait.h"

namespace Qfn {

struct ClassSupport;

// A service of this process by its index path, or the coordinator itself with no path:
// qfn:////indices.
class InternalAddress : public virtual Address_abstract,
                        public IndexedAddress_trait,
                        public virtual IGUIDAddress {
public:
    static const std::string TYPENAME;
    const std::string& typeName() const override { return TYPENAME; }

    static std::shared_ptr<IObject> factory();
    static std::shared_ptr<IObject> factoryFromIndices(const std::string& indices);
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
    std::string getGUIDAddressURL(const std::string& tail) const override;
    // This process's coordinator name; the host is this one, the empty name.
    const std::string& getCoordinatorName() const override;
    const std::string& getHostName() const override;

private:
    friend struct ClassSupport;
    InternalAddress() = default;
    ~InternalAddress() override = default;
};

}  // namespace Qfn
