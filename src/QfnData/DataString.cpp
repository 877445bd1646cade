#include "QfnData/DataString.h"

#include <functional>

#include "QfnLogger/Check.h"
#include "QfnObject/ClassSupport.h"
#include "QfnSerializer/ISerializer.h"

namespace Qfn {

const std::string DataString::TYPENAME = "DataString";

std::shared_ptr<DataString> DataString::factory()
{
    std::shared_ptr<DataString> retVal;
    try {
        do {
            // Held by its own class's pointer from the start: no cast back from IObject.
            std::shared_ptr<DataString> dataString(new DataString(), &DataString::deleter);
            SANITY_CHECK(Object::registerObjectID(dataString));
            retVal = dataString;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<IObject> DataString::factoryFromString(const std::string& str)
{
    std::shared_ptr<IObject> retVal;
    try {
        do {
            std::shared_ptr<DataString> dataString;
            ASSIGN(dataString, factory());
            dataString->fString = str;
            retVal = dataString;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<IObject> DataString::factoryFromSerialized(const std::shared_ptr<IObject>& serializerObj)
{
    return deserializeContentInto(factory(), serializerObj);
}

void DataString::deleter(DataString* dataString)
{
    ClassSupport::deleter(dataString);
}

bool DataString::registerDeregisterClass(RegisterDeregister registerDeregister)
{
    return ClassSupport::registerDeregisterClass(registerDeregister, TYPENAME, nullptr,
                                                 &DataString::factoryFromSerialized);
}

bool DataString::serializeDeserializeContent(SerializeDeserialize serializeDeserialize,
                                             const std::shared_ptr<IObject>& serializerObj)
{
    bool retVal = false;
    try {
        do {
            ASSIGN_TYPED(ISerializer, serializer, serializerObj);
            SANITY_CHECK(Data_abstract::serializeDeserializeContent(serializeDeserialize, serializerObj));
            if (serializeDeserialize == SerializeDeserialize::SERIALIZE) {
                SANITY_CHECK(serializer->putString(fString));
            } else if (serializeDeserialize == SerializeDeserialize::DESERIALIZE) {
                // clang-format off
                SANITY_CHECK(! serializer->atEnd());
                // clang-format on
                fString = serializer->getString();
            } else {
                LOG_ERROR("no serializeDeserialize");
                break;
            }
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string DataString::toString() const
{
    std::string retVal;
    try {
        do {
            retVal = Object::toString() + " String = " + fString;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool DataString::operator==(const IObject& other) const
{
    bool retVal = false;
    try {
        do {
            const auto* otherDataString = dynamic_cast<const DataString*>(&other);
            if (!otherDataString) break;
            retVal = otherDataString == this || otherDataString->fString == fString;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

uint64_t DataString::hash() const
{
    return std::hash<std::string>()(fString);
}

}  // namespace Qfn
