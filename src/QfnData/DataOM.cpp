#include "QfnData/DataOM.h"

#include <cmath>
#include <functional>

#include "QfnLogger/Check.h"
#include "QfnObject/ClassSupport.h"
#include "QfnParser/model/IOMNode.h"
#include "QfnParser/model/OMStored.h"
#include "QfnParser/model/OMType.h"
#include "QfnParser/query/OMAccessor.h"
#include "QfnParser/tasks/script/ParseTask.h"
#include "QfnSerializer/ISerializer.h"
#include "QfnUtils/DeepWalk.h"

namespace Qfn {

namespace {

// Whether a parsed tree holds only values that its text carries back. The text of an expression is
// its near form, which need not read back as the same expression (and a payload carries values, not
// code to run); an infinite float is written "inf", which reads back as a name.
bool holdsOnlyValues(const IOMNode& node)
{
    const OMType type = node.getType();
    if (type == OMType::Expression) return false;
    if (type == OMType::Float) return std::isfinite(node.getFloat());
    if (type != OMType::Array && type != OMType::Map) return true;
    DeepWalk level;
    if (!level.canGoOn("holdsOnlyValues")) return false;
    for (auto iter = node.getNodeIterator(); iter && !iter->atEnd(); (*iter)++) {
        std::shared_ptr<IOMNode> member = **iter;
        if (member && !holdsOnlyValues(*member)) return false;
    }
    return true;
}

}  // namespace

const std::string DataOM::TYPENAME = "DataOM";

std::shared_ptr<DataOM> DataOM::factory()
{
    std::shared_ptr<DataOM> retVal;
    try {
        do {
            // Held by its own class's pointer from the start: no cast back from IObject.
            std::shared_ptr<DataOM> dataOM(new DataOM(), &DataOM::deleter);
            SANITY_CHECK(Object::registerObjectID(dataOM));
            retVal = dataOM;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<IObject> DataOM::factoryFromOMNode(std::shared_ptr<IOMNode> omNode)
{
    std::shared_ptr<IObject> retVal;
    try {
        do {
            std::shared_ptr<DataOM> dataOM;
            ASSIGN(dataOM, factory());
            dataOM->omNode = std::move(omNode);
            retVal = dataOM;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<IObject> DataOM::factoryFromJSONStr(const std::string& jsonString)
{
    std::shared_ptr<IObject> retVal;
    try {
        do {
            std::shared_ptr<DataOM> dataOM;
            ASSIGN(dataOM, factory());
            SANITY_CHECK(dataOM->parseInto(jsonString));
            retVal = dataOM;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<IObject> DataOM::factoryFromSerialized(const std::shared_ptr<IObject>& serializerObj)
{
    return deserializeContentInto(factory(), serializerObj);
}

void DataOM::deleter(DataOM* dataOM)
{
    ClassSupport::deleter(dataOM);
}

bool DataOM::registerDeregisterClass(RegisterDeregister registerDeregister)
{
    return ClassSupport::registerDeregisterClass(registerDeregister, TYPENAME, nullptr,
                                                 &DataOM::factoryFromSerialized);
}

// The tree is kept only when the whole text parses to values.
bool DataOM::parseInto(const std::string& jsonString)
{
    bool retVal = false;
    try {
        do {
            std::shared_ptr<OMStored> omNode = OMStored::undefinedFactory();
            SANITY_CHECK(omNode);
            SANITY_CHECK(ParseTask::call(omNode, jsonString));
            SANITY_CHECK(holdsOnlyValues(*omNode));
            this->omNode = omNode;
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool DataOM::serializeDeserializeContent(SerializeDeserialize serializeDeserialize,
                                         const std::shared_ptr<IObject>& serializerObj)
{
    bool retVal = false;
    try {
        do {
            ASSIGN_TYPED(ISerializer, serializer, serializerObj);
            SANITY_CHECK(Data_abstract::serializeDeserializeContent(serializeDeserialize, serializerObj));
            if (serializeDeserialize == SerializeDeserialize::SERIALIZE) {
                const std::string jsonString = stringify();
                // The text form is empty only when the tree was too deep to write.
                // clang-format off
                SANITY_CHECK(! jsonString.empty());
                // clang-format on
                SANITY_CHECK(serializer->putString(jsonString));
            } else if (serializeDeserialize == SerializeDeserialize::DESERIALIZE) {
                // clang-format off
                SANITY_CHECK(! serializer->atEnd());
                // clang-format on
                const std::string jsonString = serializer->getString();
                SANITY_CHECK(parseInto(jsonString));
            } else {
                LOG_ERROR("unexpected serializeDeserialize");
                break;
            }
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string DataOM::stringify() const
{
    std::string retVal;
    try {
        do {
            if (!omNode) {
                retVal = "null";
                break;
            }
            retVal = OMAccessor::stringify(*omNode);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string DataOM::toString() const
{
    std::string retVal;
    try {
        do {
            retVal = Object::toString() + (omNode ? " OM = " + stringify() : std::string(" OM = nullptr"));
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool DataOM::operator==(const IObject& other) const
{
    bool retVal = false;
    try {
        do {
            const auto* otherDataOM = dynamic_cast<const DataOM*>(&other);
            if (!otherDataOM) break;
            retVal = otherDataOM == this || otherDataOM->stringify() == stringify();
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

uint64_t DataOM::hash() const
{
    return std::hash<std::string>()(stringify());
}

}  // namespace Qfn
