#include "QfnData/Data_abstract.h"

#include <sstream>

#include "QfnData/DataNull.h"
#include "QfnLogger/Check.h"
#include "QfnSerializer/ISerializer.h"
#include "QfnSerializer/Serializer_abstract.h"
#include "QfnUtils/Utils.h"

namespace Qfn {

bool Data_abstract::serializeDeserializeContent(SerializeDeserialize, const std::shared_ptr<IObject>&)
{
    return true;
}

std::shared_ptr<IObject> Data_abstract::deserializeContentInto(const std::shared_ptr<IData>& data,
                                                               const std::shared_ptr<IObject>& serializerObj)
{
    std::shared_ptr<IObject> retVal;
    try {
        do {
            SANITY_CHECK(data);
            if (!data->serializeDeserializeContent(SerializeDeserialize::DESERIALIZE, serializerObj)) {
                LOG_ERROR("cannot deserialize");
                break;
            }
            retVal = data;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Data_abstract::serialize(const std::shared_ptr<IObject>& serializerObj) const
{
    bool retVal = false;
    try {
        do {
            ASSIGN_TYPED(ISerializer, serializer, serializerObj);
            SANITY_CHECK(serializer->putString(typeName()));
            ASSIGN_TYPED(Data_abstract, data, Qfn::Object::getObjectFromID(shared_from_this()->getID()));
            SANITY_CHECK(data->serializeDeserializeContent(SerializeDeserialize::SERIALIZE, serializer));
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Data_abstract::serialize(std::shared_ptr<const IObject> dataObj,
                              const std::shared_ptr<IObject>& serializerObj)
{
    bool retVal = false;
    try {
        do {
            std::shared_ptr<const IData> adjustedData;
            if (dataObj) {
                ASSIGN_CONST_TYPED(IData, data, dataObj);
                adjustedData = data;
            } else {
                ASSIGN_TYPED(IData, dataNull, DataNull::factory());
                adjustedData = dataNull;
            }
            SANITY_CHECK(adjustedData->serialize(serializerObj));
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string Data_abstract::serializeToStr(std::shared_ptr<const IObject> dataObj)
{
    std::string retVal;
    try {
        do {
            ASSIGN_TYPED(ISerializer, serializer, Serializer_abstract::defaultSerializerFactory());
            std::ostringstream outputStream;
            SANITY_CHECK(serializer->startSerialize(&outputStream));
            const bool isSerialized = serialize(dataObj, serializer);
            serializer->endSerialize();
            if (!isSerialized) break;
            retVal = std::move(outputStream).str();
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<IObject> Data_abstract::deserializeFromStr(const std::string& str)
{
    std::shared_ptr<IObject> retVal;
    try {
        do {
            ASSIGN_TYPED(ISerializer, serializer, Serializer_abstract::defaultSerializerFactory());
            std::istringstream inputStream(str);
            SANITY_CHECK(serializer->startDeserialize(&inputStream));
            retVal = factoryFromTypePrefixedSerialized(serializer);
            // Input left over is noted by the serializer; the value read stands.
            serializer->endDeserialize();
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<IObject> Data_abstract::factoryFromTypePrefixedSerialized(
    const std::shared_ptr<IObject>& serializerObj)
{
    std::shared_ptr<IObject> retVal;
    try {
        do {
            ASSIGN_TYPED(ISerializer, serializer, serializerObj);
            // clang-format off
            SANITY_CHECK(! serializer->atEnd());
            // clang-format on
            const std::string typeName = serializer->getString();
            DeserializationFactoryWrapperClass deserializationFactory =
                Object::getDeserializationFactory(typeName);
            if (deserializationFactory.isFound()) {
                retVal = deserializationFactory.call(serializer);
                if (!retVal) {
                    // The class is known but its content is not there: the value reads as missing.
                    ASSIGN_TYPED(IData, dataNull, DataNull::factory());
                    retVal = dataNull;
                }
                break;
            }
            LOG_NOTE(
                Utils::stringWithFormat("wrapped deserialization factory for %s is null", typeName.c_str()));
            // Only a data value may come from the plain factories: the wire never makes a
            // coordinator, a service or a serializer. An unknown name makes nothing at all.
            FactoryWrapperClass factory = Object::getFactory(typeName);
            if (!factory.isFound()) break;
            std::shared_ptr<IData> data = std::dynamic_pointer_cast<IData>(factory.call());
            if (!data) break;
            SANITY_CHECK(data->serializeDeserializeContent(SerializeDeserialize::DESERIALIZE, serializer));
            retVal = data;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace Qfn
