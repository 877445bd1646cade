#pragma once

#include <cstdint>
#include <string>

#include "QfnObject/Forward.h"

namespace Qfn {

enum class RegisterDeregister { REGISTER = 0, DEREGISTER = 1 };

// The root of everything addressable: a process-unique ID, a lazy GUID, identity comparison.
class IObject {
public:
    virtual ~IObject() = default;
    virtual GUIDClass* createGUID() const = 0;
    virtual bool deregisterObject() = 0;
    virtual bool deregisterObjectGUID() const = 0;
    virtual bool deregisterObjectID() const = 0;
    virtual GUIDClass* getGUID() const = 0;
    virtual uint64_t getID() const = 0;
    virtual uint64_t hash() const = 0;
    virtual bool isObjectGUIDRegistered() const = 0;
    virtual bool isObjectIDRegistered() const = 0;
    virtual bool registerObjectGUID() const = 0;
    virtual bool test() = 0;
    virtual std::string toString() const = 0;
    virtual const std::string& typeName() const = 0;
    virtual bool operator==(const IObject& other) const = 0;
    virtual bool operator!=(const IObject& other) const = 0;
};

}  // namespace Qfn
