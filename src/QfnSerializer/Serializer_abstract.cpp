#include "QfnSerializer/Serializer_abstract.h"

#include "QfnLogger/Check.h"
#include "QfnSerializer/SimpleSerializer.h"

namespace Qfn {

std::shared_ptr<IObject> Serializer_abstract::defaultSerializerFactory()
{
    return SimpleSerializer::factory();
}

std::shared_ptr<IObject> Serializer_abstract::serializerFactory(const std::string& typeName)
{
    std::shared_ptr<IObject> retVal;
    try {
        do {
            FactoryWrapperClass factory = Object::getFactory(typeName);
            std::shared_ptr<IObject> made = factory.call();
            ASSIGN_TYPED(ISerializer, serializer, made);
            retVal = serializer;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace Qfn
