#include "QfnAddress/QfnTraits/AddressName.h"

#include "QfnUtils/Utils.h"

namespace Qfn {

bool AddressName::isValid(const std::string& name)
{
    if (name.empty()) return false;
    for (size_t position = 0; position < name.size(); ++position)
        if (!Utils::isIdentifierChar(name[position], position)) return false;
    return true;
}

}  // namespace Qfn
