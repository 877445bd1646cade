#pragma once

#include <memory>
#include <string>

#include "QfnObject/Object.h"
#include "QfnSerializer/ISerializer.h"

namespace Qfn {

// The base of serializers, with the factories through which everybody gets one.
class Serializer_abstract : public virtual Object, public virtual ISerializer {
public:
    // A new SimpleSerializer.
    static std::shared_ptr<IObject> defaultSerializerFactory();
    // A new serializer of the class registered under typeName in the plain factory map.
    static std::shared_ptr<IObject> serializerFactory(const std::string& typeName);

protected:
    Serializer_abstract() = default;
    ~Serializer_abstract() override = default;
};

}  // namespace Qfn
