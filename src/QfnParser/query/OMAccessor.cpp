// OMAccessor: construction, comparison and the typed members by key or index.
#include "QfnParser/query/OMAccessor.h"

#include "QfnLogger/Check.h"
#include "QfnParser/model/OMScope.h"
#include "QfnParser/model/OMStored.h"

namespace Qfn {

OMAccessor::OMAccessor() : fOMNode(OMStored::undefinedFactory()) {}

OMAccessor::OMAccessor(std::shared_ptr<IOMNode> node, std::shared_ptr<OMScope> accessorScope)
    : fOMNode(node ? std::move(node) : OMStored::undefinedFactory()), fAccessorScope(std::move(accessorScope))
{
}

bool OMAccessor::operator==(const OMAccessor& other) const
{
    return fOMNode->cmpOp_EQ(*other.fOMNode);
}

bool OMAccessor::setOMNode(const std::shared_ptr<IOMNode>& node)
{
    bool retVal = false;
    try {
        do {
            ASSIGN(fOMNode, node ? node : OMStored::undefinedFactory());
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<IOMNode> OMAccessor::member(const std::string& key) const
{
    std::shared_ptr<IOMNode> node;
    if (!fOMNode->accessOMNodeReadOnlyResolved(fAccessorScope, nullptr, key, node)) node.reset();
    return node;
}

std::shared_ptr<IOMNode> OMAccessor::member(uint64_t idx) const
{
    std::shared_ptr<IOMNode> node;
    if (!fOMNode->accessOMNodeReadOnlyResolved(fAccessorScope, nullptr, idx, node)) node.reset();
    return node;
}

std::shared_ptr<IOMNode> OMAccessor::createMember(const std::string& key)
{
    std::shared_ptr<IOMNode> retVal;
    try {
        do {
            const OMType type = fOMNode->getType();
            if (type == OMType::Undefined || type == OMType::Null) {
                SANITY_CHECK(fOMNode->setEmptyMap());
            }
            std::shared_ptr<IOMNode> node;
            SANITY_CHECK(
                fOMNode->accessOMNodeResolved(fAccessorScope, nullptr, AccessType::GET_CREATE, key, node));
            retVal = node;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<IOMNode> OMAccessor::createMember(uint64_t idx)
{
    std::shared_ptr<IOMNode> retVal;
    try {
        do {
            const OMType type = fOMNode->getType();
            if (type == OMType::Undefined || type == OMType::Null) {
                SANITY_CHECK(fOMNode->setEmptyArray());
            }
            std::shared_ptr<IOMNode> node;
            SANITY_CHECK(
                fOMNode->accessOMNodeResolved(fAccessorScope, nullptr, AccessType::GET_CREATE, idx, node));
            retVal = node;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// The value is stored as it is given (a copy when the held node is a data structure).
bool OMAccessor::set(const std::string& key, const std::shared_ptr<IOMNode>& value)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(value);
            const OMType type = fOMNode->getType();
            if (type == OMType::Undefined || type == OMType::Null) {
                SANITY_CHECK(fOMNode->setEmptyMap());
            }
            std::shared_ptr<IOMNode> node = value;
            retVal = fOMNode->accessOMNodeResolved(fAccessorScope, nullptr, AccessType::SET, key, node);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool OMAccessor::set(uint64_t idx, const std::shared_ptr<IOMNode>& value)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(value);
            const OMType type = fOMNode->getType();
            if (type == OMType::Undefined || type == OMType::Null) {
                SANITY_CHECK(fOMNode->setEmptyArray());
            }
            std::shared_ptr<IOMNode> node = value;
            retVal = fOMNode->accessOMNodeResolved(fAccessorScope, nullptr, AccessType::SET, idx, node);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

uint64_t OMAccessor::getSize(const std::string& key) const
{
    std::shared_ptr<IOMNode> node = member(key);
    return node ? node->getSize() : 0;
}

uint64_t OMAccessor::getSize(uint64_t idx) const
{
    std::shared_ptr<IOMNode> node = member(idx);
    return node ? node->getSize() : 0;
}

bool OMAccessor::getBool(const std::string& key) const
{
    std::shared_ptr<IOMNode> node = member(key);
    return node ? node->getBool() : false;
}

bool OMAccessor::getBool(uint64_t idx) const
{
    std::shared_ptr<IOMNode> node = member(idx);
    return node ? node->getBool() : false;
}

int64_t OMAccessor::getInt(const std::string& key) const
{
    std::shared_ptr<IOMNode> node = member(key);
    return node ? node->getInt() : 0;
}

int64_t OMAccessor::getInt(uint64_t idx) const
{
    std::shared_ptr<IOMNode> node = member(idx);
    return node ? node->getInt() : 0;
}

double OMAccessor::getFloat(const std::string& key) const
{
    std::shared_ptr<IOMNode> node = member(key);
    return node ? node->getFloat() : 0.0;
}

double OMAccessor::getFloat(uint64_t idx) const
{
    std::shared_ptr<IOMNode> node = member(idx);
    return node ? node->getFloat() : 0.0;
}

std::string OMAccessor::getString(const std::string& key) const
{
    std::shared_ptr<IOMNode> node = member(key);
    return node ? node->getString() : "";
}

std::string OMAccessor::getString(uint64_t idx) const
{
    std::shared_ptr<IOMNode> node = member(idx);
    return node ? node->getString() : "";
}

int64_t OMAccessor::getDate(const std::string& key) const
{
    std::shared_ptr<IOMNode> node = member(key);
    return node ? node->getDate() : 0;
}

int64_t OMAccessor::getDate(uint64_t idx) const
{
    std::shared_ptr<IOMNode> node = member(idx);
    return node ? node->getDate() : 0;
}

int64_t OMAccessor::getAsBits(const std::string& key) const
{
    std::shared_ptr<IOMNode> node = member(key);
    return node ? node->getAsBits() : 0;
}

int64_t OMAccessor::getAsBits(uint64_t idx) const
{
    std::shared_ptr<IOMNode> node = member(idx);
    return node ? node->getAsBits() : 0;
}

bool OMAccessor::getAsBool(const std::string& key) const
{
    std::shared_ptr<IOMNode> node = member(key);
    return node ? node->getAsBool() : false;
}

bool OMAccessor::getAsBool(uint64_t idx) const
{
    std::shared_ptr<IOMNode> node = member(idx);
    return node ? node->getAsBool() : false;
}

GUIDClass* OMAccessor::getAsGUID(const std::string& key) const
{
    std::shared_ptr<IOMNode> node = member(key);
    return node ? node->getAsGUID() : nullptr;
}

GUIDClass* OMAccessor::getAsGUID(uint64_t idx) const
{
    std::shared_ptr<IOMNode> node = member(idx);
    return node ? node->getAsGUID() : nullptr;
}

double OMAccessor::getAsNum(const std::string& key) const
{
    std::shared_ptr<IOMNode> node = member(key);
    return node ? node->getAsNum() : 0.0;
}

double OMAccessor::getAsNum(uint64_t idx) const
{
    std::shared_ptr<IOMNode> node = member(idx);
    return node ? node->getAsNum() : 0.0;
}

std::string OMAccessor::getAsString(const std::string& key) const
{
    std::shared_ptr<IOMNode> node = member(key);
    return node ? node->getAsString() : "";
}

std::string OMAccessor::getAsString(uint64_t idx) const
{
    std::shared_ptr<IOMNode> node = member(idx);
    return node ? node->getAsString() : "";
}

bool OMAccessor::setEmptyArray(const std::string& key)
{
    std::shared_ptr<IOMNode> node = createMember(key);
    return node && node->setEmptyArray();
}

bool OMAccessor::setEmptyArray(uint64_t idx)
{
    std::shared_ptr<IOMNode> node = createMember(idx);
    return node && node->setEmptyArray();
}

bool OMAccessor::setEmptyMap(const std::string& key)
{
    std::shared_ptr<IOMNode> node = createMember(key);
    return node && node->setEmptyMap();
}

bool OMAccessor::setEmptyMap(uint64_t idx)
{
    std::shared_ptr<IOMNode> node = createMember(idx);
    return node && node->setEmptyMap();
}

bool OMAccessor::setError(const std::string& key)
{
    std::shared_ptr<IOMNode> node = createMember(key);
    return node && node->setError();
}

bool OMAccessor::setError(uint64_t idx)
{
    std::shared_ptr<IOMNode> node = createMember(idx);
    return node && node->setError();
}

bool OMAccessor::setNaN(const std::string& key)
{
    std::shared_ptr<IOMNode> node = createMember(key);
    return node && node->setNaN();
}

bool OMAccessor::setNaN(uint64_t idx)
{
    std::shared_ptr<IOMNode> node = createMember(idx);
    return node && node->setNaN();
}

bool OMAccessor::setNull(const std::string& key)
{
    std::shared_ptr<IOMNode> node = createMember(key);
    return node && node->setNull();
}

bool OMAccessor::setNull(uint64_t idx)
{
    std::shared_ptr<IOMNode> node = createMember(idx);
    return node && node->setNull();
}

bool OMAccessor::setUndefined(const std::string& key)
{
    std::shared_ptr<IOMNode> node = createMember(key);
    return node && node->setUndefined();
}

bool OMAccessor::setUndefined(uint64_t idx)
{
    std::shared_ptr<IOMNode> node = createMember(idx);
    return node && node->setUndefined();
}

bool OMAccessor::set(const std::string& key, bool value)
{
    std::shared_ptr<IOMNode> node = OMStored::factory(value);
    return node && set(key, node);
}

bool OMAccessor::set(uint64_t idx, bool value)
{
    std::shared_ptr<IOMNode> node = OMStored::factory(value);
    return node && set(idx, node);
}

bool OMAccessor::set(const std::string& key, int64_t value)
{
    std::shared_ptr<IOMNode> node = OMStored::factory(value);
    return node && set(key, node);
}

bool OMAccessor::set(uint64_t idx, int64_t value)
{
    std::shared_ptr<IOMNode> node = OMStored::factory(value);
    return node && set(idx, node);
}

bool OMAccessor::set(const std::string& key, double value)
{
    std::shared_ptr<IOMNode> node = OMStored::factory(value);
    return node && set(key, node);
}

bool OMAccessor::set(uint64_t idx, double value)
{
    std::shared_ptr<IOMNode> node = OMStored::factory(value);
    return node && set(idx, node);
}

bool OMAccessor::set(const std::string& key, const std::string& value)
{
    std::shared_ptr<IOMNode> node = OMStored::factory(value);
    return node && set(key, node);
}

bool OMAccessor::set(uint64_t idx, const std::string& value)
{
    std::shared_ptr<IOMNode> node = OMStored::factory(value);
    return node && set(idx, node);
}

bool OMAccessor::set(const std::string& key, const char* value)
{
    std::shared_ptr<IOMNode> node = OMStored::factory(value);
    return node && set(key, node);
}

bool OMAccessor::set(uint64_t idx, const char* value)
{
    std::shared_ptr<IOMNode> node = OMStored::factory(value);
    return node && set(idx, node);
}

}  // namespace Qfn
