#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "QfnAddress/Address_abstract.h"
#include "QfnAddress/QfnTraits/CoordinatorNameAddress_trait.h"
#include "QfnAddress/QfnTraits/IndexedAddress_trait.h"

namespace Qfn {

struct ClassSupport;

// A service of a coordinator of this host, by the coordinator's name and the index path:
// qfn:///coordinator/indices.
class LocalUnresolvedAddress : public virtual Address_abstract,
                               public CoordinatorNameAddress_trait,
                               public IndexedAddress_trait {
public:
    static const std::string TYPENAME;
    const std::string& typeName() const override { return TYPENAME; }

    static std::shared_ptr<IObject> factory();
    static std::shared_ptr<IObject> factoryFromCoordinatorNameIndices(const std::string& coordinatorName,
                                                                      const std::string& indices);
    static std::shared_ptr<IObject> factoryFromSerialized(const std::shared_ptr<IObject>& serializerObj);
    static bool registerDeregisterClass(RegisterDeregister registerDeregister);

    // The coordinator alias table (the coordinatorMap section): a shorthand for a full name.
    static bool defineShorthand(const std::string& shorthand, const std::string& coordinatorName);
    // The full name of a shorthand; any other name unchanged (the very argument).
    static const std::string& getAdjustedCoordinatorName(const std::string& coordinatorName);

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
    // This host: the empty name.
    const std::string& getHostName() const override;

private:
    friend struct ClassSupport;
    LocalUnresolvedAddress() = default;
    ~LocalUnresolvedAddress() override = default;
};

}  // namespace Qfn
