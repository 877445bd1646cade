#pragma once

#include <string>

#include "QfnObject/IObject.h"

namespace Qfn {

// An address that can tell the name of the coordinator it goes to.
class ICoordinatorNameAddress : public virtual IObject {
public:
    virtual const std::string& getCoordinatorName() const = 0;
};

}  // namespace Qfn
