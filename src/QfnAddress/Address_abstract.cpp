#include "QfnAddress/Address_abstract.h"

#include "QfnAddress/IAddressHost.h"
#include "QfnAddress/IGUIDAddress.h"
#include "QfnAddress/InternalAddress.h"
#include "QfnAddress/LocalResolvedAddress.h"
#include "QfnAddress/LocalUnresolvedAddress.h"
#include "QfnAddress/RemoteResolvedAddress.h"
#include "QfnAddress/RemoteUnresolvedAddress.h"
#include "QfnAddress/URLParts.h"
#include "QfnLogger/Check.h"
#include "QfnObject/GUIDClass.h"

namespace Qfn {

const std::string Address_abstract::kMainCoordinatorName = "net.quillfern.coordinator.main";

std::shared_ptr<IObject> Address_abstract::factoryFromURL(const std::string& url, std::string& tail)
{
    std::shared_ptr<IObject> retVal;
    try {
        do {
            IAddressHost* host = IAddressHost::get();
            const URLParts parts = URLParts::parse(host ? host->resolveUrlAlias(url) : url);
            tail = parts.tail;
            if (!parts.isSchemeComplete || parts.scheme != "qfn") break;
            IAddressHost* internalCoordinator = nullptr;
            ASSIGN(internalCoordinator, IAddressHost::getAvailable());
            if (parts.isResolvedForm) {
                SANITY_CHECK(GUIDClass::isGUIDStr(parts.secondGUID));
                GUIDClass* guid = GUIDClass::factory(parts.secondGUID);
                SANITY_CHECK(guid);
                GUIDClass* upstreamCoordinatorGUID = GUIDClass::factory(parts.host);
                SANITY_CHECK(upstreamCoordinatorGUID);
                GUIDClass* internalCoordinatorGUID = nullptr;
                ASSIGN(internalCoordinatorGUID, internalCoordinator->createGUID());
                if (upstreamCoordinatorGUID == internalCoordinatorGUID)
                    retVal = LocalResolvedAddress::factoryFromGUIDs(guid, upstreamCoordinatorGUID);
                else
                    retVal = RemoteResolvedAddress::factoryFromGUIDs(guid, upstreamCoordinatorGUID);
            } else {
                const std::string coordinatorName =
                    parts.coordinator.empty()
                        ? std::string()
                        : LocalUnresolvedAddress::getAdjustedCoordinatorName(parts.coordinator);
                const std::string indices = IndexedAddress_trait::joinIndices(parts.indices);
                if (!parts.host.empty() && !internalCoordinator->isLocalHost(parts.host)) {
                    retVal = RemoteUnresolvedAddress::factoryFromCoordinatorNameIndicesHostName(
                        coordinatorName.empty() ? kMainCoordinatorName : coordinatorName, indices,
                        parts.host);
                } else if (coordinatorName.empty() || coordinatorName == internalCoordinator->getName()) {
                    // An empty coordinator part and this process's own name both mean this process.
                    retVal = InternalAddress::factoryFromIndices(indices);
                } else {
                    retVal =
                        LocalUnresolvedAddress::factoryFromCoordinatorNameIndices(coordinatorName, indices);
                }
            }
            SANITY_CHECK(retVal);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Address_abstract::isSameClass(const IObject& other) const
{
    return dynamic_cast<const Address_abstract*>(&other) != nullptr && other.typeName() == typeName();
}

GUIDClass* Address_abstract::getResolvedAddressedGUID() const
{
    GUIDClass* retVal = nullptr;
    try {
        std::shared_ptr<const IGUIDAddress> resolvedAddress =
            std::dynamic_pointer_cast<const IGUIDAddress>(resolved());
        if (resolvedAddress) retVal = resolvedAddress->getAddressedGUID();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Address_abstract::isResolvedToInternalCoordinator() const
{
    bool retVal = false;
    try {
        std::shared_ptr<const IGUIDAddress> resolvedAddress =
            std::dynamic_pointer_cast<const IGUIDAddress>(resolved());
        retVal = resolvedAddress && resolvedAddress->isInternalCoordinatorAddress();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace Qfn
