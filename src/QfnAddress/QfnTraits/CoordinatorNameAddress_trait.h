#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "QfnAddress/ICoordinatorNameAddress.h"
#include "QfnSerializer/SerializeDeserialize.h"

namespace Qfn {

// The name of the coordinator an address goes to, an identifier name; one record.
class CoordinatorNameAddress_trait : public virtual ICoordinatorNameAddress {
public:
    const std::string& getCoordinatorName() const override { return fCoordinatorName; }

protected:
    bool serializeDeserializeContent(SerializeDeserialize serializeDeserialize,
                                     const std::shared_ptr<IObject>& serializerObj);
    // "Coordinator = " and the name.
    std::string printCoordinatorNameAddress() const;

    std::string fCoordinatorName;
};

}  // namespace Qfn
