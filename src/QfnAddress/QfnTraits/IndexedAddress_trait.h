#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "QfnAddress/IIndexedAddress.h"
#include "QfnSerializer/SerializeDeserialize.h"

namespace Qfn {

// The index path of an address: names at even positions, numbers at odd ones; one record, joined by '/'.
class IndexedAddress_trait : public virtual IIndexedAddress {
public:
    const std::vector<std::string>& getIndices() const override { return fIndices; }
    std::string getIndicesStr() const override;

    // Splits at '/', dropping empty parts; false, with indices untouched, when a name or a number is
    // not one. A last name without its number means the first service of that name.
    static bool splitIndices(const std::string& indexStr, std::vector<std::string>& indices);
    static std::string joinIndices(const std::vector<std::string>& indices);

protected:
    bool setIndices(const std::string& indexStr);
    bool serializeDeserializeContent(SerializeDeserialize serializeDeserialize,
                                     const std::shared_ptr<IObject>& serializerObj);
    // "Indices = " and the path.
    std::string printIndexedAddress() const;
    uint64_t hashIndices() const;

    std::vector<std::string> fIndices;
};

}  // namespace Qfn
