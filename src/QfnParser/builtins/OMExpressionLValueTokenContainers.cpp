// The built-ins over arrays and maps: keys, size, push, pop, length, and reference, the path query
// of the language.
#include "QfnLogger/Check.h"
#include "QfnParser/expressions/OMExpressionLValueToken.h"
#include "QfnParser/model/OMScope.h"
#include "QfnParser/model/OMStored.h"
#include "QfnParser/query/OMAccessor.h"
#include "QfnTask/YieldingFrame.h"

namespace Qfn {

// The keys of a map as Strings, in the sorted order of getMapKeys; the indices of an array as Ints.
std::shared_ptr<IOMNode> OMExpressionLValueToken::ftn_keys(AccessType, const std::shared_ptr<OMScope>&,
                                                           OMExpressionLValueResolution& resolution) const
{
    std::shared_ptr<IOMNode> retVal;
    try {
        do {
            ASSIGN(retVal, OMStored::undefinedFactory());
            if (!requireArguments(resolution, 1)) break;
            std::shared_ptr<IOMNode> thisNode = resolution.getArgNode(0);
            OMType type = thisNode->getType();
            bool pushed = true;
            if (type == OMType::Map) {
                SANITY_CHECK(retVal->setEmptyArray());
                for (const std::string& key : thisNode->getMapKeys())
                    pushed = pushed && retVal->push(OMStored::factory(key));
            } else if (type == OMType::Array) {
                SANITY_CHECK(retVal->setEmptyArray());
                uint64_t size = thisNode->getSize();
                for (uint64_t idx = 0; idx < size && pushed; ++idx)
                    pushed = retVal->push(OMStored::factory(static_cast<int64_t>(idx)));
            }
            SANITY_CHECK(pushed);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// The element count of an array or a map; any other value has none.
std::shared_ptr<IOMNode> OMExpressionLValueToken::ftn_size(AccessType, const std::shared_ptr<OMScope>&,
                                                           OMExpressionLValueResolution& resolution) const
{
    return fromFirstArgument(resolution, [](const IOMNode& argument, IOMNode& retVal) {
        OMType type = argument.getType();
        bool isContainer = type == OMType::Array || type == OMType::Map;
        return retVal.set(static_cast<int64_t>(isContainer ? argument.getSize() : 0));
    });
}

// Appends a value to an array and gives the array. The value is stored as an assignment stores
// it: a scalar is copied, a container shared, and never the array itself or what holds it.
std::shared_ptr<IOMNode> OMExpressionLValueToken::ftn_push(AccessType, const std::shared_ptr<OMScope>&,
                                                           OMExpressionLValueResolution& resolution) const
{
    std::shared_ptr<IOMNode> retVal;
    try {
        do {
            ASSIGN(retVal, OMStored::undefinedFactory());
            if (!requireArguments(resolution, 2)) break;
            std::shared_ptr<IOMNode> array = resolution.getArgNode(0);
            std::shared_ptr<IOMNode> value = resolution.getArgNode(1);
            std::shared_ptr<IOMNode> element;
            ASSIGN(element, OMStored::undefinedFactory());
            bool pushed = array->getType() == OMType::Array && !OMStored::wouldMakeCycle(*array, *value) &&
                          element->set(value) && array->push(element);
            if (!pushed) {
                LOG_ERROR("push failed");
                SANITY_CHECK(retVal->setError());
                break;
            }
            retVal = array;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<IOMNode> OMExpressionLValueToken::ftn_pop(AccessType, const std::shared_ptr<OMScope>&,
                                                          OMExpressionLValueResolution& resolution) const
{
    std::shared_ptr<IOMNode> retVal;
    try {
        do {
            ASSIGN(retVal, OMStored::undefinedFactory());
            if (!requireArguments(resolution, 1)) break;
            ASSIGN(retVal, resolution.getArgNode(0)->pop());
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// The byte count of a String, the element count of an Array; for anything else the member named
// "length", so that a map's own `length` wins.
void OMExpressionLValueToken::ftn_length_yielding(const std::shared_ptr<Task>& task,
                                                  std::shared_ptr<IOMNode>& retVal, AccessType,
                                                  const std::shared_ptr<OMScope>& scope,
                                                  OMExpressionLValueResolution& resolution) const
{
    struct LocalVariableState : virtual OMFunctionState {
        std::shared_ptr<IOMNode> thisNode;
        std::shared_ptr<OMScope> scope;
        bool success = false;
        std::shared_ptr<IOMNode> member;
        NodeList noArguments;
    };
    enum : unsigned { READ_MEMBER = 1 };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) retVal = nullptr;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0:
                    s.fState = kFinished;
                    ASSIGN(retVal, OMStored::undefinedFactory());
                    if (!requireArguments(resolution, 1)) break;
                    s.thisNode = resolution.getArgNode(0);
                    s.scope = scope;
                    if (s.thisNode->getType() == OMType::String) {
                        SANITY_CHECK(retVal->set(static_cast<int64_t>(s.thisNode->getString().size())));
                    } else if (s.thisNode->getType() == OMType::Array) {
                        SANITY_CHECK(retVal->set(static_cast<int64_t>(s.thisNode->getSize())));
                    } else {
                        s.fState = READ_MEMBER;
                    }
                    break;
                    YIELDING_CALL(READ_MEMBER,
                                  s.thisNode->accessOMNodeReadOnlyResolved_yielding(
                                      task, s.success, s.scope, s.noArguments, "length", s.member));
                case resumeAfter(READ_MEMBER):
                    s.fState = kFinished;
                    if (s.success && s.member) retVal = s.member;
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

// A path query as a value or as the target of an assignment: reference([target,] path [, selection]).
// Without an array or map in front, the query runs over the variables of the scope.
void OMExpressionLValueToken::ftn_reference_yielding(const std::shared_ptr<Task>& task,
                                                     std::shared_ptr<IOMNode>& retVal, AccessType accessType,
                                                     const std::shared_ptr<OMScope>& scope,
                                                     OMExpressionLValueResolution& resolution,
                                                     const std::shared_ptr<IOMNode>& assignNode) const
{
    struct LocalVariableState : virtual OMFunctionState {
        OMAccessor accessor;
        std::string path;
        ReferenceType referenceType = ReferenceType::OM_REF_SELECTOR_SINGLE_ELEMENT_OR_ARRAY;
        AccessType accessType = AccessType::GET;
        bool success = false;
        std::shared_ptr<IOMNode> node;
    };
    enum : unsigned { ACCESS = 1 };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) retVal = nullptr;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0: {
                    s.fState = kFinished;
                    ASSIGN(retVal, OMStored::undefinedFactory());
                    if (!requireArguments(resolution, 1)) break;
                    SANITY_CHECK(scope);
                    std::shared_ptr<IOMNode> target = resolution.getArgNode(0);
                    uint64_t next = 1;
                    OMType targetType = target->getType();
                    if (targetType != OMType::Array && targetType != OMType::Map) {
                        target = scope;
                        next = 0;
                    }
                    if (!requireArguments(resolution, next + 1)) break;
                    s.path = OMAccessor(resolution.getArgNode(next)).getAsString();
                    std::shared_ptr<IOMNode> selection = resolution.getArgNode(next + 1);
                    if (selection && selection->getType() == OMType::String) {
                        const std::string& name = selection->getString();
                        if (name == "selectarray")
                            s.referenceType = ReferenceType::OM_REF_SELECTOR_ARRAY;
                        else if (name == "selectfirst")
                            s.referenceType = ReferenceType::OM_REF_SELECTOR_FIRST_MATCH;
                    }
                    SANITY_CHECK(s.accessor.setOMNode(target));
                    s.accessor.setAccessorScope(scope);
                    s.accessType = assignNode ? AccessType::SET : accessType;
                    s.node = assignNode;
                    s.fState = ACCESS;
                    break;
                }
                    YIELDING_CALL(ACCESS, s.accessor.accessOMNode_yielding(task, s.success, s.accessType,
                                                                           s.path, s.node, s.referenceType));
                case resumeAfter(ACCESS):
                    s.fState = kFinished;
                    if (!s.success || !s.node) {
                        reportScriptError("cannot access reference");
                        SANITY_CHECK(retVal->setError());
                        break;
                    }
                    retVal = s.node;
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

}  // namespace Qfn
