// From an address to the local object it leads to.
#include "QfnAddress/IGUIDAddress.h"
#include "QfnAddress/IIndexedAddress.h"
#include "QfnAddress/InternalAddress.h"
#include "QfnCoordinator/InternalCoordinator.h"
#include "QfnLogger/Check.h"
#include "QfnUtils/Utils.h"

namespace Qfn {

// An index path is walked down from the coordinator; a GUID address names a registered service.
// Names of this or another coordinator first resolve to one of those two forms.
std::shared_ptr<const IObject> InternalCoordinator::resolveAddress(std::shared_ptr<const IObject> addressObj)
{
    std::shared_ptr<const IObject> retVal;
    try {
        do {
            SANITY_CHECK(addressObj);
            if (addressObj->typeName() == InternalAddress::TYPENAME) {
                ASSIGN_CONST_TYPED(IIndexedAddress, indexedAddress, addressObj);
                const std::vector<std::string>& indices = indexedAddress->getIndices();
                bool isEveryIndexNumeric = true;
                for (size_t position = 1; position < indices.size(); position += 2)
                    isEveryIndexNumeric = isEveryIndexNumeric && Utils::isNumeric(indices[position]);
                SANITY_CHECK(isEveryIndexNumeric);
                // Services have no children until the service tree comes (issue 19): only the empty
                // path, the coordinator itself, leads somewhere yet.
                if (indices.empty()) retVal = shared_from_this();
                break;
            }
            if (std::dynamic_pointer_cast<const IIndexedAddress>(addressObj)) {
                ASSIGN_CONST_TYPED(IAddress, address, addressObj);
                std::shared_ptr<const IObject> resolvedAddress = address->resolved();
                // An address that stays a name leads to another coordinator, not to an object here.
                if (!resolvedAddress || std::dynamic_pointer_cast<const IIndexedAddress>(resolvedAddress))
                    break;
                retVal = resolveAddress(resolvedAddress);
                break;
            }
            ASSIGN_CONST_TYPED(IGUIDAddress, guidAddress, addressObj);
            GUIDClass* guid = guidAddress->getAddressedGUID();
            if (!guid) break;
            ASSIGN_CONST_TYPED(Service_abstract, service, Object::getRegisteredObject(guid));
            retVal = service;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace Qfn
