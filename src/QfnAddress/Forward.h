#pragma once

namespace Qfn {
class IAddress;
class IGUIDAddress;
class ICoordinatorNameAddress;
class IHostNameAddress;
class IIndexedAddress;
class IAddressHost;
class Address_abstract;
class InternalAddress;
class LocalUnresolvedAddress;
class RemoteUnresolvedAddress;
class LocalResolvedAddress;
class RemoteResolvedAddress;
class CoordinatorNameAddress_trait;
class HostNameAddress_trait;
class GUIDAddress_trait;
class IndexedAddress_trait;
struct URLParts;
}  // namespace Qfn
