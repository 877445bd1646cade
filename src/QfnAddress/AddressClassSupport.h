#pragma once

#include <memory>
#include <string>

#include "QfnLogger/Check.h"
#include "QfnObject/Object.h"
#include "QfnSerializer/SerializeDeserialize.h"

namespace Qfn {

// What the five address classes do alike: make an empty object and read its content, delete it,
// and enter their factories in the object registries.
struct AddressClassSupport {
    // An empty object of the class, filled from the serializer; the empty pointer, with "cannot
    // deserialize", when a field is missing or wrong, so that no half-filled address survives.
    template <class T>
    static std::shared_ptr<IObject> factoryFromSerialized(const std::shared_ptr<IObject>& serializerObj)
    {
        std::shared_ptr<IObject> retVal;
        try {
            do {
                std::shared_ptr<T> address =
                    std::dynamic_pointer_cast<T>(Object::adopt(new T(), &deleter<T>));
                SANITY_CHECK(address);
                if (!address->serializeDeserializeContent(SerializeDeserialize::DESERIALIZE, serializerObj)) {
                    LOG_ERROR("cannot deserialize");
                    break;
                }
                retVal = address;
            } while (false);
        } catch (std::exception& e) {
            LOG_THROWS(e);
        }
        return retVal;
    }

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
