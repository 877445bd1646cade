#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "QfnObject/IObject.h"

namespace Qfn {

enum class OpCode;

using ObjectFactory = std::shared_ptr<IObject> (*)();
using DeserializationFactory = std::shared_ptr<IObject> (*)(const std::shared_ptr<IObject>& serializerObj);
using ByNameFactory = std::shared_ptr<IObject> (*)(std::shared_ptr<IObject> parentObj, const std::string& name);

// A looked-up factory; calling a missing one, or one that makes nothing, logs "no object".
class FactoryWrapperClass {
public:
    explicit FactoryWrapperClass(ObjectFactory factory = nullptr) : fFactory(factory) {}
    bool isFound() const { return fFactory != nullptr; }
    std::shared_ptr<IObject> call() const;

private:
    ObjectFactory fFactory;
};

class DeserializationFactoryWrapperClass {
public:
    explicit DeserializationFactoryWrapperClass(DeserializationFactory factory = nullptr) : fFactory(factory) {}
    bool isFound() const { return fFactory != nullptr; }
    std::shared_ptr<IObject> call(const std::shared_ptr<IObject>& serializerObj) const;

private:
    DeserializationFactory fFactory;
};

class ByNameFactoryWrapperClass {
public:
    explicit ByNameFactoryWrapperClass(ByNameFactory factory = nullptr) : fFactory(factory) {}
    bool isFound() const { return fFactory != nullptr; }
    std::shared_ptr<IObject> call(std::shared_ptr<IObject> parentObj, const std::string& name) const;

private:
    ByNameFactory fFactory;
};

// Base of all objects: identity, registration by ID and GUID, and the class factory registries.
// Objects are made only by their class's factory and held by shared pointers carrying its deleter.
class Object : public virtual IObject, public std::enable_shared_from_this<Object> {
public:
    using ObjectMap = std::unordered_map<GUIDClass*, std::weak_ptr<const IObject>>;
    using IDToObjectMap = std::unordered_map<uint64_t, std::weak_ptr<IObject>>;
    using FactoryMap = std::unordered_map<std::string, ObjectFactory>;
    using DeserializationFactoryMap = std::unordered_map<std::string, DeserializationFactory>;
    using ByNameFactoryMap = std::unordered_map<std::string, ByNameFactory>;
    using PrototypeMap = std::unordered_map<std::string, std::shared_ptr<IObject>>;

    GUIDClass* createGUID() const override;
    bool deregisterObject() override;
    bool deregisterObjectGUID() const override;
    bool deregisterObjectID() const override;
    GUIDClass* getGUID() const override { return fGUID; }
    uint64_t getID() const override { return fID; }
    uint64_t hash() const override;
    bool isObjectGUIDRegistered() const override;
    bool isObjectIDRegistered() const override { return fID != 0; }
    bool registerObjectGUID() const override;
    bool test() override;
    std::string toString() const override;
    bool operator==(const IObject& other) const override;
    bool operator!=(const IObject& other) const override;

    static bool registerFactory(const std::string& typeName, ObjectFactory factory);
    static bool registerDeserializationFactory(const std::string& typeName, DeserializationFactory factory);
    static bool registerByNameFactory(const std::string& typeName, ByNameFactory factory);
    static bool deregisterFactory(const std::string& typeName);
    static bool deregisterDeserializationFactory(const std::string& typeName);
    static bool deregisterByNameFactory(const std::string& typeName);
    static FactoryWrapperClass getFactory(const std::string& typeName);
    static DeserializationFactoryWrapperClass getDeserializationFactory(const std::string& typeName);
    static ByNameFactoryWrapperClass getByNameFactory(const std::string& typeName);

    static bool registerObjectID(const std::shared_ptr<IObject>& objPtr);
    static std::shared_ptr<IObject> getObjectFromID(uint64_t id);
    static std::shared_ptr<const IObject> getRegisteredObject(GUIDClass* guid);
    static std::vector<std::string> getRegisteredTypeNames();
    static uint64_t getObjectCount() { return fObjectCount; }
    static bool testObjectsInIDToObjectMap();
    static std::string opCodeToString(OpCode opCode);

    // Deregisters the object; every class's own deleter ends here after releasing its members.
    static void deleter(Object* object);
    // Deletes the six registries; objects that die afterwards deregister silently.
    static void deleteClass();

    // Wraps a freshly made object with its class's deleter and gives it an ID: steps 2 to 4 of
    // every factory.
    template <class T>
    static std::shared_ptr<IObject> adopt(T* object, void (*classDeleter)(T*))
    {
        std::shared_ptr<T> owned(object, classDeleter);
        std::shared_ptr<IObject> objPtr = owned;
        if (!registerObjectID(objPtr)) return nullptr;
        return objPtr;
    }

protected:
    Object() = default;
    ~Object() override = default;

    mutable GUIDClass* fGUID = nullptr;
    mutable uint64_t fID = 0;
    bool fIsTestInProgress = false;
    bool fIsTestStarted = false;
    bool fIsTestFinished = false;

private:
    static ObjectMap* fObjectMap;
    static IDToObjectMap* fIDToObjectMap;
    static FactoryMap* fFactoryMap;
    static DeserializationFactoryMap* fDeserializationFactoryMap;
    static ByNameFactoryMap* fByNameFactoryMap;
    static PrototypeMap* fPrototypeMap;
    static uint64_t fLastID;
    static uint64_t fObjectCount;
};

}  // namespace Qfn
