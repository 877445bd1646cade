#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "QfnAddress/Address_abstract.h"
#include "QfnAddress/QfnTraits/GUIDAddress_trait.h"

namespace Qfn {

struct AddressClassSupport;

// An object of a coordinator of this host, by GUIDs: qfn://<upstream GUID>/<addressed GUID>.
class LocalResolvedAddress : public virtual Address_abstract, public GUIDAddress_trait {
public:
    static const std::string TYPENAME;
    const std::string& typeName() const override { return TYPENAME; }

    static std::shared_ptr<IObject> factory();
    static std::shared_ptr<IObject> factoryFromGUIDs(GUIDClass* addressedGUID,
                                                     GUIDClass* upstreamCoordinatorGUID);
    static std::shared_ptr<IObject> factoryFromSerialized(const std::shared_ptr<IObject>& serializerObj);
    static bool registerDeregisterClass(RegisterDeregister registerDeregister);

    bool serializeDeserializeContent(SerializeDeserialize serializeDeserialize,
                                     const std::shared_ptr<IObject>& serializerObj) override;
    std::string getAsURL() const override;
    std::string toString() const override;
    uint64_t hash() const override;
    bool operator==(const IObject& other) const override;
    std::shared_ptr<const IObject> resolved() const override;

private:
    friend struct AddressClassSupport;
    LocalResolvedAddress() = default;
    ~LocalResolvedAddress() override = default;
};

}  // namespace Qfn
