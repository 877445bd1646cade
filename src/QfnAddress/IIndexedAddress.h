#pragma once

#include <string>
#include <vector>

#include "QfnObject/IObject.h"

namespace Qfn {

// An address that names a service by its index path: names and numbers, from the coordinator down.
class IIndexedAddress : public virtual IObject {
public:
    virtual const std::vector<std::string>& getIndices() const = 0;
    // The path joined by '/'.
    virtual std::string getIndicesStr() const = 0;
};

}  // namespace Qfn
