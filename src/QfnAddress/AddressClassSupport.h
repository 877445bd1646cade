#pragma once

#include <memory>
#include <string>

#include "QfnLogger/Check.h"
#include "QfnObject/Object.h"

namespace Qfn {

// What the five address classes do alike: make an empty object, delete it, and enter their factories
// in the object registries.
struct AddressClassSupport {
    template <class T>
    static std::shared_ptr<IObject> makeEmpty()
    {
        std::shared_ptr<IObject> retVal;
        try {
            retVal = Object::adopt(new T(), &deleter<T>);
        } catch (std::exception& e) {
            LOG_THROWS(e);
        }
        return retVal;
    }

    template <class T>
    static void deleter(T* address)
    {
        try {
            do {
                SANITY_CHECK(address);
                Object::deleter(address);
                delete address;
            } while (false);
        } catch (std::exception& e) {
            LOG_THROWS(e);
        }
    }

    // The deserialization factory always; the plain one when the class has one.
    static bool registerDeregisterClass(RegisterDeregister registerDeregister, const std::string& typeName,
                                        ObjectFactory factory, DeserializationFactory deserializationFactory);
};

}  // namespace Qfn
