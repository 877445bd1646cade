#pragma once

#include <memory>
#include <string>

#include "QfnData/Data_abstract.h"

namespace Qfn {

// A string payload, written as one record.
class DataString : public virtual Data_abstract {
public:
    static const std::string TYPENAME;
    const std::string& typeName() const override { return TYPENAME; }

    static std::shared_ptr<IObject> factoryFromString(const std::string& str);
    static std::shared_ptr<IObject> factoryFromSerialized(const std::shared_ptr<IObject>& serializerObj);
    static void deleter(DataString* dataString);
    static bool registerDeregisterClass(RegisterDeregister registerDeregister);

    bool serializeDeserializeContent(SerializeDeserialize serializeDeserialize,
                                     const std::shared_ptr<IObject>& serializerObj) override;
    const std::string& getString() const { return fString; }

    std::string toString() const override;
    // Equal strings are equal values, and hash alike.
    bool operator==(const IObject& other) const override;
    uint64_t hash() const override;

private:
    friend struct ClassSupport;
    DataString() = default;
    ~DataString() override = default;
    static std::shared_ptr<DataString> factory();

    std::string fString;
};

}  // namespace Qfn
