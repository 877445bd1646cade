#include "QfnParser/model/OMStored.h"

#include <algorithm>

#include "QfnLogger/Check.h"
#include "QfnObject/GUIDClass.h"
#include "QfnParser/model/OMStoredNodeIterator.h"
#include "QfnUtils/DeepWalk.h"
#include "QfnUtils/PoolAllocator.h"
#include "QfnUtils/Utils.h"

namespace Qfn {

int64_t OMStored::fOMStoredCount = 0;

OMStored::OMStored()
{
    ++fOMStoredCount;
}

OMStored::~OMStored()
{
    --fOMStoredCount;
    releaseContainers();
}

// The containers this node was the last to hold are let go here. Up to a depth their members go
// with them as usual; deeper down, the members that are containers wait in a list that the
// outermost release empties one after another: a structure nested any depth deep is destroyed
// without ever nesting more than kRecursiveReleaseDepth destructors.
void OMStored::releaseContainerMembers() noexcept
{
    thread_local std::vector<std::shared_ptr<IOMNode>> pending;
    thread_local uint32_t depth = 0;
    thread_local bool isDraining = false;
    try {
        if (depth >= kRecursiveReleaseDepth) {
            auto defer = [](std::shared_ptr<IOMNode>& member) {
                if (!member || member.use_count() != 1) return;
                const OMStored* stored = member->asStored();
                if (stored && (stored->fArray || stored->fMap)) pending.push_back(std::move(member));
            };
            if (fArray && fArray.use_count() == 1) {
                for (auto& member : *fArray)
                    defer(member);
            }
            if (fMap && fMap.use_count() == 1) {
                for (auto& member : *fMap)
                    defer(member.second);
            }
        }
    } catch (...) {
        // Out of memory for the list: what could not be listed is released the plain way.
    }
    ++depth;
    fArray.reset();
    fMap.reset();
    --depth;
    if (depth != 0 || isDraining || pending.empty()) return;
    isDraining = true;
    while (!pending.empty()) {
        std::shared_ptr<IOMNode> next = std::move(pending.back());
        pending.pop_back();
    }
    isDraining = false;
    // A deep structure leaves a long list behind: its room is given back.
    if (pending.capacity() > kKeptReleaseCapacity) std::vector<std::shared_ptr<IOMNode>>().swap(pending);
}

namespace {

// Lets make_shared reach the protected constructor: node and count share one allocation.
struct SharedOMStored final : OMStored {};

}  // namespace

template <class Setter>
std::shared_ptr<OMStored> OMStored::makeNode(const Setter& setter)
{
    std::shared_ptr<OMStored> retVal;
    try {
        do {
            std::shared_ptr<OMStored> node =
                std::allocate_shared<SharedOMStored>(PoolAllocator<SharedOMStored>());
            SANITY_CHECK(setter(*node));
            retVal = node;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<OMStored> OMStored::arrayFactory()
{
    return makeNode([](OMStored& node) { return node.setEmptyArray(); });
}

std::shared_ptr<OMStored> OMStored::mapFactory()
{
    return makeNode([](OMStored& node) { return node.setEmptyMap(); });
}

std::shared_ptr<OMStored> OMStored::nullFactory()
{
    return makeNode([](OMStored& node) { return node.setNull(); });
}

std::shared_ptr<OMStored> OMStored::undefinedFactory()
{
    return makeNode([](OMStored& node) { return node.setUndefined(); });
}

std::shared_ptr<OMStored> OMStored::nanFactory()
{
    return makeNode([](OMStored& node) { return node.setNaN(); });
}

std::shared_ptr<OMStored> OMStored::errorFactory()
{
    return makeNode([](OMStored& node) { return node.setError(); });
}

std::shared_ptr<OMStored> OMStored::dateFactory(int64_t date)
{
    return makeNode([date](OMStored& node) { return node.setDate(date); });
}

std::shared_ptr<OMStored> OMStored::cloneFactory(const IOMNode& from, uint64_t cloneNestLevel)
{
    return makeNode([&from, cloneNestLevel](OMStored& node) { return node.setTo(from, cloneNestLevel); });
}

std::shared_ptr<OMStored> OMStored::factory(const IOMNode& from)
{
    return cloneFactory(from, 0);
}

std::shared_ptr<OMStored> OMStored::factory(bool value)
{
    return makeNode([value](OMStored& node) { return node.set(value); });
}

std::shared_ptr<OMStored> OMStored::factory(double value)
{
    return makeNode([value](OMStored& node) { return node.set(value); });
}

std::shared_ptr<OMStored> OMStored::factory(int64_t value)
{
    return makeNode([value](OMStored& node) { return node.set(value); });
}

std::shared_ptr<OMStored> OMStored::factory(const std::shared_ptr<OMExpression>& expression)
{
    return makeNode([&expression](OMStored& node) { return node.set(expression); });
}

std::shared_ptr<OMStored> OMStored::factory(const std::shared_ptr<FunctionSignature>& functionSignature,
                                            const std::shared_ptr<OMExpression>& expression)
{
    return makeNode([&](OMStored& node) { return node.set(functionSignature, expression); });
}

std::shared_ptr<OMStored> OMStored::factory(const std::string& value)
{
    return makeNode([&value](OMStored& node) { return node.set(value); });
}

std::shared_ptr<OMStored> OMStored::factory(const char* value)
{
    return makeNode([value](OMStored& node) { return node.set(value); });
}

std::shared_ptr<OMStored> OMStored::factory(const std::shared_ptr<OMArray>& array)
{
    return makeNode([&array](OMStored& node) { return node.set(array); });
}

std::shared_ptr<OMStored> OMStored::factory(const std::shared_ptr<OMMap>& map)
{
    return makeNode([&map](OMStored& node) { return node.set(map); });
}

std::shared_ptr<OMStored> OMStored::guidFactory(GUIDClass* guid)
{
    return makeNode([guid](OMStored& node) { return node.setGUID(guid); });
}

std::shared_ptr<OMStored> OMStored::rewrapFactory(IOMNode& node)
{
    std::shared_ptr<OMStored> retVal;
    try {
        do {
            if (auto* stored = node.asStored()) {
                retVal = std::static_pointer_cast<OMStored>(stored->weak_from_this().lock());
                if (retVal) break;
            }
            retVal = factory(node);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<const OMStored> OMStored::rewrapFactory(const IOMNode& node)
{
    std::shared_ptr<const OMStored> retVal;
    try {
        do {
            if (auto* stored = node.asStored()) {
                retVal = std::static_pointer_cast<const OMStored>(stored->weak_from_this().lock());
                if (retVal) break;
            }
            retVal = factory(node);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

void OMStored::discardContent()
{
    fType = OMType::Undefined;
    fUnion = {};
    fString.clear();
    releaseContainers();
    fExpression.reset();
    fFunctionSignature.reset();
}

bool OMStored::set(const std::shared_ptr<FunctionSignature>& functionSignature,
                   const std::shared_ptr<OMExpression>& expression)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(functionSignature);
            SANITY_CHECK(expression);
            discardContent();
            fType = OMType::Function;
            fFunctionSignature = functionSignature;
            fExpression = expression;
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool OMStored::set(const std::shared_ptr<OMExpression>& expression)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(expression);
            discardContent();
            fType = OMType::Expression;
            fExpression = expression;
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool OMStored::set(const std::shared_ptr<OMMap>& map)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(map);
            discardContent();
            fType = OMType::Map;
            fMap = map;
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool OMStored::set(const std::shared_ptr<OMArray>& array)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(array);
            discardContent();
            fType = OMType::Array;
            fArray = array;
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool OMStored::set(const char* value)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(value);
            retVal = set(std::string(value));
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool OMStored::set(const std::string& value)
{
    bool retVal = false;
    try {
        do {
            // value may be our own fString, which discardContent clears.
            std::string copy = value;
            discardContent();
            fType = OMType::String;
            fString = std::move(copy);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool OMStored::set(int64_t value)
{
    discardContent();
    fType = OMType::Int;
    fUnion.fInt = value;
    return true;
}

bool OMStored::set(double value)
{
    discardContent();
    fType = OMType::Float;
    fUnion.fFloat = value;
    return true;
}

bool OMStored::set(bool value)
{
    discardContent();
    fType = OMType::Bool;
    fUnion.fBool = value;
    return true;
}

bool OMStored::setGUID(GUIDClass* guid)
{
    bool retVal = false;
    try {
        do {
            if (!guid) {
                ASSIGN(guid, GUIDClass::randomFactory());
            }
            discardContent();
            fType = OMType::GUID;
            fUnion.fGUID = guid;
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool OMStored::setDate(int64_t date)
{
    discardContent();
    fType = OMType::Date;
    fUnion.fDate = date;
    return true;
}

bool OMStored::setEmptyArray()
{
    bool retVal = false;
    try {
        do {
            discardContent();
            fArray = std::make_shared<OMArray>();
            fType = OMType::Array;
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool OMStored::setEmptyMap()
{
    bool retVal = false;
    try {
        do {
            discardContent();
            fMap = std::make_shared<OMMap>();
            fType = OMType::Map;
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool OMStored::setError()
{
    discardContent();
    fType = OMType::Error;
    return true;
}

bool OMStored::setNaN()
{
    discardContent();
    fType = OMType::NaN;
    return true;
}

bool OMStored::setNull()
{
    discardContent();
    fType = OMType::Null;
    return true;
}

bool OMStored::setUndefined()
{
    discardContent();
    return true;
}

bool OMStored::setTo(const IOMNode& from, uint64_t cloneNestLevel)
{
    bool retVal = false;
    try {
        do {
            if (&from == static_cast<const IOMNode*>(this)) {
                retVal = true;
                break;
            }
            // A scalar of another stored node is copied field by field, read before anything here
            // is discarded: the same result as the general way below, without its calls.
            if (const OMStored* source = from.asStored()) {
                const OMType type = source->fType;
                if (type == OMType::Int || type == OMType::Float || type == OMType::Bool ||
                    type == OMType::Date || type == OMType::Undefined || type == OMType::Null ||
                    type == OMType::NaN || type == OMType::Error || type == OMType::String) {
                    const bool hasPayload = type == OMType::Int || type == OMType::Float ||
                                            type == OMType::Bool || type == OMType::Date;
                    const auto value = source->fUnion;
                    const bool isDataStructure = source->fIsDataStructure;
                    std::string text;
                    if (type == OMType::String) text = source->fString;
                    if (source->fPermissions.empty())
                        fPermissions.clear();
                    else
                        fPermissions = source->fPermissions;
                    discardContent();
                    fIsDataStructure = isDataStructure;
                    fType = type;
                    if (hasPayload) fUnion = value;
                    fString = std::move(text);
                    retVal = true;
                    break;
                }
            }
            // from may be held only by the content discarded next (b = b[1]).
            std::shared_ptr<const OMNode> keepFromAlive;
            if (const OMNode* fromNode = from.asOMNode()) keepFromAlive = fromNode->weak_from_this().lock();
            SANITY_CHECK(setUndefined());
            fIsDataStructure = from.getIsDataStructure();
            if (const OMStored* fromStored = from.asStored()) {
                // Most nodes have no permissions of their own: clearing is cheaper than copying.
                if (fromStored->fPermissions.empty())
                    fPermissions.clear();
                else
                    fPermissions = fromStored->fPermissions;
            }

            switch (from.getType()) {
                case OMType::Undefined:
                    retVal = true;
                    break;
                case OMType::Null:
                    retVal = setNull();
                    break;
                case OMType::NaN:
                    retVal = setNaN();
                    break;
                case OMType::Error:
                    retVal = setError();
                    break;
                case OMType::Bool:
                    retVal = set(from.getBool());
                    break;
                case OMType::Date:
                    retVal = setDate(from.getDate());
                    break;
                case OMType::Int:
                    retVal = set(from.getInt());
                    break;
                case OMType::Float:
                    retVal = set(from.getFloat());
                    break;
                case OMType::String:
                    retVal = set(from.getString());
                    break;
                case OMType::Array:
                case OMType::Map:
                    retVal = setToContainer(from, cloneNestLevel);
                    break;
                case OMType::Expression:
                    retVal = set(from.getExpression());
                    break;
                case OMType::Function:
                    retVal = set(from.getFunctionSignature(), from.getExpression());
                    break;
                case OMType::GUID:
                    // A GUID value is never copied through here.
                    LOG_ERROR("unexpected type");
                    break;
            }
            if (!retVal) setUndefined();
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool OMStored::setToContainer(const IOMNode& from, uint64_t cloneNestLevel)
{
    bool retVal = false;
    try {
        do {
            const bool isArray = from.getType() == OMType::Array;
            SANITY_CHECK(isArray ? setEmptyArray() : setEmptyMap());
            const OMStored* fromStored = from.asStored();
            if (fromStored && !fIsDataStructure && cloneNestLevel == 0) {
                // Plain assignment of a container: both nodes now hold the same elements.
                if (isArray) {
                    ASSIGN(fArray, fromStored->fArray);
                } else {
                    ASSIGN(fMap, fromStored->fMap);
                }
                retVal = true;
                break;
            }
            if (cloneNestLevel != 0 && cloneNestLevel != kCloneAllLevels) --cloneNestLevel;
            DeepWalk level;
            if (!level.canGoOn("copy")) break;
            std::shared_ptr<IOMNode> self;
            if (fIsDataStructure) {
                ASSIGN(self, weak_from_this().lock());
            }
            std::shared_ptr<IOMNodeIterator> iter;
            ASSIGN(iter, from.getNodeIterator());
            bool failed = false;
            for (; !iter->atEnd(); (*iter)++) {
                std::shared_ptr<IOMNode> element = **iter;
                std::string key = isArray ? std::to_string(fArray->size()) : iter->getKey();
                if (!isArray && !(getPermission(key) & PERMISSION_WRITE)) {
                    LOG_ERROR("not permitted -- need PERMISSION_WRITE");
                    continue;
                }
                std::shared_ptr<OMStored> copy = undefinedFactory();
                if (!copy || !element) {
                    failed = true;
                    break;
                }
                // An element that cannot be copied (a GUID) stays Undefined and keeps its place.
                copy->setTo(*element, cloneNestLevel);
                if (self && !copy->setDataStructureParent(self, key)) {
                    failed = true;
                    break;
                }
                if (isArray)
                    fArray->push_back(copy);
                else
                    (*fMap)[key] = copy;
            }
            if (DeepWalk::hasGivenUp()) break;  // said once, where the walk gave up
            SANITY_CHECK(!failed);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<IOMNode> OMStored::clone(uint64_t cloneNestLevel) const
{
    return cloneFactory(*this, cloneNestLevel);
}

bool OMStored::setIsDataStructure(bool isDataStructure)
{
    bool retVal = false;
    try {
        do {
            fIsDataStructure = isDataStructure;
            if (fType != OMType::Array && fType != OMType::Map) {
                retVal = true;
                break;
            }
            std::shared_ptr<IOMNode> self;
            if (isDataStructure) {
                ASSIGN(self, weak_from_this().lock());
            }
            DeepWalk level;
            if (!level.canGoOn("setIsDataStructure")) break;
            // Brings one child under the discipline; replaces it in its slot when it must be copied.
            auto handleChild = [&](std::shared_ptr<IOMNode>& child, const std::string& key) {
                if (!child) return true;
                std::shared_ptr<IOMNode> parent = child->getDataStructureParent();
                if (!isDataStructure) return parent.get() != this || child->setIsDataStructure(false);
                if (parent && parent.get() != this) {
                    std::shared_ptr<IOMNode> copy = child->clone(0);
                    if (!copy) return false;
                    child = copy;
                    return child->setDataStructureParent(self, key);
                }
                // A child already ours may have left the discipline since: bring its members back too.
                if (parent) return child->getIsDataStructure() || child->setIsDataStructure(true);
                return child->setDataStructureParent(self, key);
            };
            bool failed = false;
            if (fType == OMType::Array) {
                for (size_t i = 0; i < fArray->size() && !failed; ++i)
                    failed = !handleChild((*fArray)[i], std::to_string(i));
            } else {
                for (auto& [key, child] : *fMap) {
                    failed = !handleChild(child, key);
                    if (failed) break;
                }
            }
            if (failed && DeepWalk::hasGivenUp()) break;  // said once, where the walk gave up
            SANITY_CHECK(!failed);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool OMStored::atMapEnd(const OMMap::const_iterator& iter) const
{
    return !fMap || iter == fMap->cend();
}

bool OMStored::atArrayEnd(const OMArray::const_iterator& iter) const
{
    return !fArray || iter == fArray->cend();
}

bool OMStored::deleteOMNode(const std::string& attr)
{
    bool retVal = false;
    try {
        do {
            if (fType == OMType::Array && Utils::isNumeric(attr)) {
                retVal = deleteOMNode(static_cast<uint64_t>(Utils::toSize_t(attr)));
                break;
            }
            if (fType != OMType::Map) break;
            SANITY_CHECK(fMap);
            retVal = fMap->erase(attr) > 0;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool OMStored::deleteOMNode(uint64_t idx)
{
    bool retVal = false;
    try {
        do {
            if (fType != OMType::Array) break;
            SANITY_CHECK(fArray);
            if (idx >= fArray->size()) break;
            fArray->erase(fArray->begin() + static_cast<std::ptrdiff_t>(idx));
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool OMStored::push(const std::shared_ptr<IOMNode>& node)
{
    bool retVal = false;
    try {
        do {
            if (fType != OMType::Array) break;
            SANITY_CHECK(fArray);
            SANITY_CHECK(node);
            std::shared_ptr<IOMNode> element = node;
            retVal = writeElement(AccessType::SET, fArray->size(), element);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<IOMNode> OMStored::pop()
{
    std::shared_ptr<IOMNode> retVal;
    try {
        do {
            if (fType == OMType::Array && fArray && !fArray->empty()) {
                retVal = fArray->back();
                fArray->pop_back();
            }
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    if (!retVal) retVal = undefinedFactory();
    return retVal;
}

bool OMStored::getBool() const
{
    return fType == OMType::Bool && fUnion.fBool;
}

int64_t OMStored::getDate() const
{
    return fType == OMType::Date ? fUnion.fDate : 0;
}

double OMStored::getFloat() const
{
    return fType == OMType::Float ? fUnion.fFloat : 0.0;
}

GUIDClass* OMStored::getGUID() const
{
    return fType == OMType::GUID ? fUnion.fGUID : nullptr;
}

int64_t OMStored::getInt() const
{
    return fType == OMType::Int ? fUnion.fInt : 0;
}

const std::string& OMStored::getString() const
{
    static const std::string kEmpty;
    return fType == OMType::String ? fString : kEmpty;
}

std::vector<std::string> OMStored::getMapKeys() const
{
    std::vector<std::string> retVal;
    try {
        do {
            if (fType != OMType::Map || !fMap) break;
            retVal.reserve(fMap->size());
            for (const auto& member : *fMap)
                retVal.push_back(member.first);
            // std::string compares as unsigned bytes: the order is by byte value.
            std::sort(retVal.begin(), retVal.end());
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

uint64_t OMStored::getSize() const
{
    if (fType == OMType::Array && fArray) return fArray->size();
    if (fType == OMType::Map && fMap) return fMap->size();
    return 0;
}

std::shared_ptr<IOMNodeIterator> OMStored::getNodeIterator() const
{
    std::shared_ptr<IOMNodeIterator> retVal;
    try {
        do {
            if (fType != OMType::Array && fType != OMType::Map) break;
            std::shared_ptr<const OMStored> self;
            ASSIGN(self, std::static_pointer_cast<const OMStored>(shared_from_this()));
            retVal = OMStoredNodeIterator::factory(self);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<OMStored> OMStored::getOMStoredPtr()
{
    std::shared_ptr<OMStored> retVal;
    try {
        do {
            retVal = std::static_pointer_cast<OMStored>(shared_from_this());
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

int OMStored::getPermission(const std::string& attr) const
{
    if (fPermissions.empty()) return PERMISSION_ALL;
    auto iter = fPermissions.find(attr);
    return iter == fPermissions.end() ? PERMISSION_ALL : iter->second;
}

bool OMStored::setPermission(const std::string& attr, int mask)
{
    fPermissions[attr] = mask;
    return true;
}

}  // namespace Qfn
