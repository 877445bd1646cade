#pragma once

#include <memory>
#include <string>

#include "QfnData/IData.h"
#include "QfnObject/Object.h"

namespace Qfn {

// The base of data values, and the type-prefixed framing: a type name record, then the content.
class Data_abstract : public virtual Object, public virtual IData {
public:
    // The base has no fields.
    bool serializeDeserializeContent(SerializeDeserialize serializeDeserialize,
                                     const std::shared_ptr<IObject>& serializerObj) override;
    bool serialize(const std::shared_ptr<IObject>& serializerObj) const override;

    // Writes dataObj framed by its type name; a null pointer is written as DataNull.
    static bool serialize(std::shared_ptr<const IObject> dataObj,
                          const std::shared_ptr<IObject>& serializerObj);
    // The records of dataObj as text; empty after a failure.
    static std::string serializeToStr(std::shared_ptr<const IObject> dataObj);
    // The data value the text holds; the empty pointer when none can be read.
    static std::shared_ptr<IObject> deserializeFromStr(const std::string& str);
    // Reads a type name record and makes that class's object from the records after it. Only data
    // values come out: any other class gives the empty pointer.
    static std::shared_ptr<IObject> factoryFromTypePrefixedSerialized(
        const std::shared_ptr<IObject>& serializerObj);

protected:
    // Reads the content of a newly made object: the object, or the empty pointer after "cannot
    // deserialize", so that a half-read object goes away. The factoryFromSerialized of each class.
    static std::shared_ptr<IObject> deserializeContentInto(const std::shared_ptr<IData>& data,
                                                           const std::shared_ptr<IObject>& serializerObj);

    Data_abstract() = default;
    ~Data_abstract() override = default;
};

}  // namespace Qfn
