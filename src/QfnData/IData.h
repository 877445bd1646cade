#pragma once

#include <memory>

#include "QfnObject/IObject.h"
#include "QfnSerializer/SerializeDeserialize.h"

namespace Qfn {

// A value that can cross a process border: it writes itself as its type name and its content, and
// reads its content back through the same function.
class IData : public virtual IObject {
public:
    virtual bool serializeDeserializeContent(SerializeDeserialize serializeDeserialize,
                                             const std::shared_ptr<IObject>& serializerObj) = 0;
    virtual bool serialize(const std::shared_ptr<IObject>& serializerObj) const = 0;
};

}  // namespace Qfn
