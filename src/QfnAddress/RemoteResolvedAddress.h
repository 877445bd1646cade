#pragma once

#include <memory>
#include <string>

#include "QfnAddress/ResolvedAddress_abstract.h"

namespace Qfn {

struct ClassSupport;

// An object behind a coordinator of another host, by GUIDs: qfn://<upstream GUID>/<addressed GUID>.
class RemoteResolvedAddress : public ResolvedAddress_abstract {
public:
    static const std::string TYPENAME;
    const std::string& typeName() const override { return TYPENAME; }

    static std::shared_ptr<IObject> factoryFromGUIDs(GUIDClass* addressedGUID,
                                                     GUIDClass* upstreamCoordinatorGUID);
    static std::shared_ptr<IObject> factoryFromSerialized(const std::shared_ptr<IObject>& serializerObj);
    static bool registerDeregisterClass(RegisterDeregister registerDeregister);

    std::shared_ptr<const IObject> resolved() const override;

private:
    friend struct ClassSupport;
    RemoteResolvedAddress() = default;
    ~RemoteResolvedAddress() override = default;
};

}  // namespace Qfn
