#pragma once

#include <memory>
#include <string>

#include "QfnAddress/IAddress.h"
#include "QfnAddress/ICoordinatorNameAddress.h"
#include "QfnAddress/IHostNameAddress.h"
#include "QfnData/Data_abstract.h"

namespace Qfn {

// The base of the five address classes: an address is a data value, written with its type name,
// and it has a qfn:// text form.
class Address_abstract : public virtual IAddress,
                         public virtual ICoordinatorNameAddress,
                         public virtual IHostNameAddress,
                         public virtual Data_abstract {
public:
    static const std::string kMainCoordinatorName;

    // The address a URL (or an alias of the urlMap section) names; tail receives the text behind the
    // double slash. The empty pointer for another scheme or parts that name nothing.
    static std::shared_ptr<IObject> factoryFromURL(const std::string& url, std::string& tail);

protected:
    Address_abstract() = default;
    ~Address_abstract() override = default;

    // Whether other is an address of this same class; equality compares fields only then.
    bool isSameClass(const IObject& other) const;
    // What the GUID address this one resolves to says; null and false when it resolves to none.
    GUIDClass* getResolvedAddressedGUID() const;
    bool isResolvedToInternalCoordinator() const;
};

}  // namespace Qfn
