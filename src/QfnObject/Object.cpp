#include "QfnObject/Object.h"

#include <iterator>

#include "QfnLogger/Check.h"
#include "QfnMessage/OpCode.h"
#include "QfnObject/GUIDClass.h"

namespace Qfn {

// The registries exist from static initialisation on, before main runs.
Object::ObjectMap* Object::fObjectMap = new Object::ObjectMap();
Object::IDToObjectMap* Object::fIDToObjectMap = new Object::IDToObjectMap();
Object::FactoryMap* Object::fFactoryMap = new Object::FactoryMap();
Object::DeserializationFactoryMap* Object::fDeserializationFactoryMap = new Object::DeserializationFactoryMap();
Object::ByNameFactoryMap* Object::fByNameFactoryMap = new Object::ByNameFactoryMap();
Object::PrototypeMap* Object::fPrototypeMap = new Object::PrototypeMap();
uint64_t Object::fLastID = 0;
uint64_t Object::fObjectCount = 0;

namespace {

// The three factory registries differ only in the function type they hold.
template <class Map, class Factory>
bool registerInMap(Map* map, const char* missingText, const std::string& typeName, Factory factory)
{
    bool retVal = false;
    try {
        do {
            if (!map) {
                LOG_ERROR(missingText);
                break;
            }
            if (map->count(typeName) != 0) {
                LOG_ERROR("duplicate typeName");
                break;
            }
            (*map)[typeName] = factory;
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

template <class Map>
bool deregisterFromMap(Map* map, const std::string& typeName)
{
    bool retVal = false;
    try {
        do {
            if (!map) {
                retVal = true;
                break;
            }
            auto iter = map->find(typeName);
            if (iter == map->end()) {
                LOG_ERROR(std::string("unregistered typeName ") + typeName);
                break;
            }
            map->erase(iter);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

template <class Wrapper, class Map>
Wrapper lookUpInMap(Map* map, const char* missingText, const std::string& typeName)
{
    Wrapper retVal;
    try {
        do {
            if (!map) {
                LOG_ERROR(missingText);
                break;
            }
            auto iter = map->find(typeName);
            if (iter == map->end()) break;
            retVal = Wrapper(iter->second);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<IObject> reportEmpty(std::shared_ptr<IObject> result)
{
    if (!result) LOG_ERROR("no object");
    return result;
}

}  // namespace

std::shared_ptr<IObject> FactoryWrapperClass::call() const
{
    return reportEmpty(fFactory ? fFactory() : nullptr);
}

std::shared_ptr<IObject> DeserializationFactoryWrapperClass::call(
    const std::shared_ptr<IObject>& serializerObj) const
{
    return reportEmpty(fFactory ? fFactory(serializerObj) : nullptr);
}

std::shared_ptr<IObject> ByNameFactoryWrapperClass::call(std::shared_ptr<IObject> parentObj,
                                                         const std::string& name) const
{
    return reportEmpty(fFactory ? fFactory(std::move(parentObj), name) : nullptr);
}

bool Object::registerFactory(const std::string& typeName, ObjectFactory factory)
{
    return registerInMap(fFactoryMap, "no fFactoryMap", typeName, factory);
}

bool Object::registerDeserializationFactory(const std::string& typeName, DeserializationFactory factory)
{
    return registerInMap(fDeserializationFactoryMap, "no fDeserializationFactoryMap", typeName, factory);
}

bool Object::registerByNameFactory(const std::string& typeName, ByNameFactory factory)
{
    return registerInMap(fByNameFactoryMap, "no fByNameFactoryMap", typeName, factory);
}

bool Object::deregisterFactory(const std::string& typeName) { return deregisterFromMap(fFactoryMap, typeName); }

bool Object::deregisterDeserializationFactory(const std::string& typeName)
{
    return deregisterFromMap(fDeserializationFactoryMap, typeName);
}

bool Object::deregisterByNameFactory(const std::string& typeName)
{
    return deregisterFromMap(fByNameFactoryMap, typeName);
}

FactoryWrapperClass Object::getFactory(const std::string& typeName)
{
    return lookUpInMap<FactoryWrapperClass>(fFactoryMap, "no fFactoryMap", typeName);
}

DeserializationFactoryWrapperClass Object::getDeserializationFactory(const std::string& typeName)
{
    return lookUpInMap<DeserializationFactoryWrapperClass>(fDeserializationFactoryMap,
                                                           "no fDeserializationFactoryMap", typeName);
}

ByNameFactoryWrapperClass Object::getByNameFactory(const std::string& typeName)
{
    return lookUpInMap<ByNameFactoryWrapperClass>(fByNameFactoryMap, "no fByNameFactoryMap", typeName);
}

bool Object::registerObjectID(const std::shared_ptr<IObject>& objPtr)
{
    bool retVal = false;
    try {
        do {
            if (!fIDToObjectMap) {
                LOG_ERROR("no fIDToObjectMap");
                break;
            }
            ASSIGN_TYPED(Object, obj, objPtr);
            if (obj->fID != 0) {
                LOG_ERROR("already registered");
                break;
            }
            obj->fID = ++fLastID;
            ++fObjectCount;
            (*fIDToObjectMap)[obj->fID] = objPtr;
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<IObject> Object::getObjectFromID(uint64_t id)
{
    std::shared_ptr<IObject> retVal;
    try {
        do {
            SANITY_CHECK(fIDToObjectMap);
            auto iter = fIDToObjectMap->find(id);
            if (iter == fIDToObjectMap->end()) break;
            retVal = iter->second.lock();
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<const IObject> Object::getRegisteredObject(GUIDClass* guid)
{
    std::shared_ptr<const IObject> retVal;
    try {
        do {
            if (!fObjectMap) {
                LOG_ERROR("no fObjectMap");
                break;
            }
            if (!guid) {
                LOG_ERROR("no guid");
                break;
            }
            auto iter = fObjectMap->find(guid);
            if (iter == fObjectMap->end()) break;
            retVal = iter->second.lock();
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::vector<std::string> Object::getRegisteredTypeNames()
{
    std::vector<std::string> retVal;
    try {
        do {
            if (!fPrototypeMap) {
                LOG_ERROR("no fPrototypeMap");
                break;
            }
            for (const auto& entry : *fPrototypeMap) retVal.push_back(entry.first);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Object::testObjectsInIDToObjectMap()
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(fIDToObjectMap);
            std::vector<std::shared_ptr<IObject>> live;
            for (const auto& entry : *fIDToObjectMap) {
                if (auto obj = entry.second.lock()) live.push_back(obj);
            }
            bool allPassed = true;
            for (const auto& obj : live) allPassed = obj->test() && allPassed;
            retVal = allPassed;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string Object::opCodeToString(OpCode opCode)
{
    static const char* const kNames[] = {"none",        "terminate", "ping",     "ping_reply", "logTrace",
                                         "logNote",     "logWarning", "logError", "stdOut",     "stdErr",
                                         "openSession", "closeSession", "eval",   "evalFile",   "evalResult",
                                         "dataRequest", "dataReply"};
    std::string retVal;
    try {
        do {
            auto index = static_cast<int32_t>(opCode);
            if (index < 0 || index >= static_cast<int32_t>(std::size(kNames))) {
                LOG_ERROR("unknown opCode");
                break;
            }
            retVal = kNames[index];
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

GUIDClass* Object::createGUID() const
{
    GUIDClass* retVal = nullptr;
    try {
        do {
            if (!fGUID && !registerObjectGUID()) LOG_ERROR("failed to register");
            retVal = fGUID;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Object::registerObjectGUID() const
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(fObjectMap);
            if (fGUID) {
                retVal = true;
                break;
            }
            fGUID = GUIDClass::randomFactory();
            std::shared_ptr<const Object> objPtr = shared_from_this();
            ASSIGN_TYPED(IObject, nonConstObjPtr, Qfn::Object::getObjectFromID(objPtr->getID()));
            (*fObjectMap)[fGUID] = nonConstObjPtr;
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Object::isObjectGUIDRegistered() const
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(fObjectMap);
            if (!fGUID) break;
            if (fObjectMap->find(fGUID) == fObjectMap->end()) {
                LOG_ERROR("object not registered");
                break;
            }
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Object::deregisterObject()
{
    bool retVal = false;
    try {
        do {
            if (fGUID) {
                SANITY_CHECK(deregisterObjectGUID());
                fGUID = nullptr;
            }
            if (fID != 0) {
                SANITY_CHECK(deregisterObjectID());
                fID = 0;
            }
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Object::deregisterObjectGUID() const
{
    bool retVal = false;
    try {
        do {
            if (!fObjectMap) {
                LOG_NOTE("no fObjectMap");
                retVal = true;
                break;
            }
            if (!fGUID) {
                retVal = true;
                break;
            }
            auto iter = fObjectMap->find(fGUID);
            if (iter == fObjectMap->end()) {
                LOG_ERROR("object not registered");
                break;
            }
            fObjectMap->erase(iter);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Object::deregisterObjectID() const
{
    bool retVal = false;
    try {
        do {
            if (!fIDToObjectMap) {
                LOG_NOTE("no fIDToObjectMap");
                retVal = true;
                break;
            }
            if (fID == 0) {
                retVal = true;
                break;
            }
            auto iter = fIDToObjectMap->find(fID);
            SANITY_CHECK(iter != fIDToObjectMap->end());
            fIDToObjectMap->erase(iter);
            --fObjectCount;
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

uint64_t Object::hash() const { return static_cast<uint64_t>(reinterpret_cast<uintptr_t>(this)); }

bool Object::test()
{
    // The built-in self-test framework is not part of this build; every object passes.
    return true;
}

std::string Object::toString() const
{
    std::string retVal;
    try {
        do {
            retVal = typeName();
            if (fGUID) retVal += "[" + fGUID->toString(GUIDStringFormat::UPPERCASE_DASHED) + "])";
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Object::operator==(const IObject& other) const
{
    const auto* otherObject = dynamic_cast<const Object*>(&other);
    return otherObject == this;
}

bool Object::operator!=(const IObject& other) const { return !(other == *this); }

void Object::deleter(Object* object)
{
    try {
        do {
            SANITY_CHECK(object);
            if (object->fID != 0) object->deregisterObjectID();
            if (object->fGUID) object->deregisterObjectGUID();
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

void Object::deleteClass()
{
    delete fObjectMap;
    fObjectMap = nullptr;
    delete fIDToObjectMap;
    fIDToObjectMap = nullptr;
    delete fPrototypeMap;
    fPrototypeMap = nullptr;
    delete fByNameFactoryMap;
    fByNameFactoryMap = nullptr;
    delete fDeserializationFactoryMap;
    fDeserializationFactoryMap = nullptr;
    delete fFactoryMap;
    fFactoryMap = nullptr;
}

}  // namespace Qfn
