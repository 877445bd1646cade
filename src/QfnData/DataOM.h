#pragma once

#include <memory>
#include <string>

#include "QfnData/Data_abstract.h"
#include "QfnParser/Forward.h"

namespace Qfn {

// An OM tree as payload, written as one record of its compact text and parsed back on arrival.
class DataOM : public virtual Data_abstract {
public:
    static const std::string TYPENAME;
    const std::string& typeName() const override { return TYPENAME; }

    // Holds the node itself, not a copy; null stands for a missing tree.
    static std::shared_ptr<IObject> factoryFromOMNode(std::shared_ptr<IOMNode> omNode);
    // The tree that the text parses to; the empty pointer when it does not parse, or when it
    // holds an expression or an infinite float rather than values that text carries.
    static std::shared_ptr<IObject> factoryFromJSONStr(const std::string& jsonString);
    static std::shared_ptr<IObject> factoryFromSerialized(const std::shared_ptr<IObject>& serializerObj);
    static void deleter(DataOM* dataOM);
    static bool registerDeregisterClass(RegisterDeregister registerDeregister);

    bool serializeDeserializeContent(SerializeDeserialize serializeDeserialize,
                                     const std::shared_ptr<IObject>& serializerObj) override;
    const std::shared_ptr<IOMNode>& getOMNode() const { return omNode; }

    // The compact text of the tree, "null" without one.
    std::string stringify() const;
    std::string toString() const override;
    // Trees with the same text are equal values, and hash alike.
    bool operator==(const IObject& other) const override;
    uint64_t hash() const override;

private:
    friend struct ClassSupport;
    DataOM() = default;
    ~DataOM() override = default;
    static std::shared_ptr<DataOM> factory();
    bool parseInto(const std::string& jsonString);

    std::shared_ptr<IOMNode> omNode;
};

}  // namespace Qfn
