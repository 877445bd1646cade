#pragma once

#include <memory>
#include <string>

#include "QfnLogger/Check.h"
#include "QfnObject/Object.h"

namespace Qfn {

// What every concrete object class does alike: make an empty object, delete it, and enter its
// factories in the object registries.
struct ClassSupport {
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
    static void deleter(T* object)
    {
        try {
            do {
                SANITY_CHECK(object);
                Object::deleter(object);
                delete object;
            } while (false);
        } catch (std::exception& e) {
            LOG_THROWS(e);
        }
    }

    // Each factory the class has (a null one is left out).
    static bool registerDeregisterClass(RegisterDeregister registerDeregister, const std::string& typeName,
                                        ObjectFactory factory, DeserializationFactory deserializationFactory);
};

}  // namespace Qfn
