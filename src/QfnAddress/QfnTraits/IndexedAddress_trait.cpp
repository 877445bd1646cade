#include "QfnAddress/QfnTraits/IndexedAddress_trait.h"

#include "QfnAddress/QfnTraits/AddressName.h"
#include "QfnAddress/QfnTraits/HashCombine.h"
#include "QfnLogger/Check.h"
#include "QfnSerializer/ISerializer.h"
#include "QfnUtils/Utils.h"

namespace Qfn {

std::string IndexedAddress_trait::getIndicesStr() const
{
    return joinIndices(fIndices);
}

std::string IndexedAddress_trait::joinIndices(const std::vector<std::string>& indices)
{
    std::string retVal;
    try {
        for (const std::string& index : indices) {
            if (!retVal.empty()) retVal += '/';
            retVal += index;
        }
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool IndexedAddress_trait::splitIndices(const std::string& indexStr, std::vector<std::string>& indices)
{
    bool retVal = false;
    try {
        do {
            std::vector<std::string> parts;
            size_t start = 0;
            while (start <= indexStr.size()) {
                size_t end = indexStr.find('/', start);
                if (end == std::string::npos) end = indexStr.size();
                if (end > start) parts.push_back(indexStr.substr(start, end - start));
                start = end + 1;
            }
            bool isValid = true;
            for (size_t position = 0; position < parts.size() && isValid; ++position) {
                if (position % 2 == 0 && !AddressName::isValid(parts[position])) {
                    LOG_ERROR("invalid index name");
                    isValid = false;
                } else if (position % 2 == 1 && !Utils::isNumeric(parts[position])) {
                    LOG_ERROR("invalid index number");
                    isValid = false;
                }
            }
            if (!isValid) break;
            indices = std::move(parts);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool IndexedAddress_trait::setIndices(const std::string& indexStr)
{
    return splitIndices(indexStr, fIndices);
}

bool IndexedAddress_trait::serializeDeserializeContent(SerializeDeserialize serializeDeserialize,
                                                       const std::shared_ptr<IObject>& serializerObj)
{
    bool retVal = false;
    try {
        do {
            ASSIGN_TYPED(ISerializer, serializer, serializerObj);
            if (serializeDeserialize == SerializeDeserialize::SERIALIZE) {
                SANITY_CHECK(serializer->putString(getIndicesStr()));
            } else if (serializeDeserialize == SerializeDeserialize::DESERIALIZE) {
                if (serializer->atEnd()) {
                    LOG_ERROR("serializer at end");
                    break;
                }
                SANITY_CHECK(setIndices(serializer->getString()));
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

std::string IndexedAddress_trait::printIndexedAddress() const
{
    std::string retVal;
    try {
        retVal = "Indices = " + getIndicesStr();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

uint64_t IndexedAddress_trait::hashIndices() const
{
    uint64_t retVal = 0;
    for (const std::string& index : fIndices)
        retVal = HashCombine::combine(retVal, HashCombine::ofString(index));
    return retVal;
}

}  // namespace Qfn
