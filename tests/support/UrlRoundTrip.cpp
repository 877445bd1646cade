#include "support/UrlRoundTrip.h"

#include "QfnAddress/Address_abstract.h"
#include "QfnAddress/IAddress.h"
#include "QfnCoordinator/InternalCoordinator.h"

namespace QfnTest {

bool registerLocalHostNames()
{
    using Qfn::InternalCoordinator;
    return InternalCoordinator::registerLocalHostName("127.0.0.1") &&
           InternalCoordinator::registerLocalHostName("::1") &&
           InternalCoordinator::registerLocalHostName("localhost");
}

std::string checkUrlRoundTrip(const std::string& url)
{
    std::string tail;
    std::shared_ptr<Qfn::IObject> first = Qfn::Address_abstract::factoryFromURL(url, tail);
    if (!first) return "";
    auto address = std::dynamic_pointer_cast<Qfn::IAddress>(first);
    if (!address) return "not an address: " + first->typeName();
    const std::string printed = address->getAsURL();
    std::string printedTail;
    std::shared_ptr<Qfn::IObject> second = Qfn::Address_abstract::factoryFromURL(printed, printedTail);
    if (!second) return "the printed URL names nothing: " + printed;
    if (!(*second == *first)) return "printed as " + printed + ", read back as " + second->toString();
    if (!printedTail.empty()) return "the printed URL has a tail: " + printed;
    if (second->hash() != first->hash()) return "equal addresses hash differently: " + printed;
    return "";
}

}  // namespace QfnTest
