// OMAccessor: path queries and single steps, resumable and run to completion.
#include "QfnLogger/Check.h"
#include "QfnParser/model/OMScope.h"
#include "QfnParser/model/OMStored.h"
#include "QfnParser/query/MatchNode.h"
#include "QfnParser/query/MatchNodeFunction.h"
#include "QfnParser/query/OMAccessor.h"
#include "QfnTask/CallYieldingTask.h"
#include "QfnTask/YieldingFrame.h"

namespace Qfn {

// A hand-over: a read goes to the read-only form, which finds its own frame on every re-entry.
void OMAccessor::accessOMNode_yielding(const std::shared_ptr<Task>& task, bool& success,
                                       AccessType accessType, const std::string& path,
                                       std::shared_ptr<IOMNode>& node, ReferenceType referenceType)
{
    query_yielding(task, success, accessType, path, node, referenceType);
}

void OMAccessor::accessOMNodeReadOnly_yielding(const std::shared_ptr<Task>& task, bool& success,
                                               const std::string& path, std::shared_ptr<IOMNode>& node,
                                               ReferenceType referenceType) const
{
    query_yielding(task, success, AccessType::GET, path, node, referenceType);
}

void OMAccessor::query_yielding(const std::shared_ptr<Task>& task, bool& success, AccessType accessType,
                                const std::string& path, std::shared_ptr<IOMNode>& node,
                                ReferenceType referenceType) const
{
    struct LocalVariableState : virtual OMFunctionState {
        std::shared_ptr<MatchNode> head;
        std::shared_ptr<IOMNode> root;
        std::shared_ptr<IOMNode> setOMNode;
        AccessType accessType = AccessType::GET;
        ReferenceType referenceType = ReferenceType::OM_REF_SELECTOR_SINGLE_ELEMENT_OR_ARRAY;
        bool madeDataStructure = false;
        bool walked = false;
    };
    enum : unsigned { TRAVERSE = 1, COLLECT };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        LocalVariableState& s = *frame;
        if (frame.isFirstEntry()) {
            success = false;
            s.accessType = accessType;
            s.referenceType = referenceType;
            s.root = fOMNode;
            // GET_CREATE writes only a value it was given; it never overwrites with Undefined.
            if (accessType == AccessType::SET || (accessType == AccessType::GET_CREATE && node))
                s.setOMNode = node ? node : OMStored::undefinedFactory();
        }
        do {
            switch (s.fState) {
                case 0:
                    s.fState = kFinished;
                    node.reset();
                    SANITY_CHECK(s.root);
                    if (path.empty()) break;
                    s.head = parseReference(path);
                    if (!s.head) break;
                    // A function at the head collects everything it computes from.
                    s.head->setStopAtFirstMatch(s.referenceType ==
                                                    ReferenceType::OM_REF_SELECTOR_FIRST_MATCH &&
                                                !dynamic_cast<MatchNodeFunction*>(s.head.get()));
                    // Parents and keys exist only in a data structure; the flag is given back afterwards.
                    if (!s.root->getIsDataStructure()) {
                        SANITY_CHECK(s.root->setIsDataStructure(true));
                        s.madeDataStructure = true;
                    }
                    s.fState = TRAVERSE;
                    break;

                    YIELDING_CALL(TRAVERSE, s.head->traverse_yielding(task, s.walked, fAccessorScope, s.root,
                                                                      s.accessType, s.setOMNode));
                case resumeAfter(TRAVERSE):
                    s.fState = COLLECT;
                    break;

                case COLLECT: {
                    s.fState = kFinished;
                    if (s.madeDataStructure) {
                        SANITY_CHECK(s.root->setIsDataStructure(false));
                    }
                    if (!s.walked) break;
                    if (auto* function = dynamic_cast<MatchNodeFunction*>(s.head.get())) {
                        // A function at the head computes the result itself.
                        node = function->getFunctionResult();
                        if (node && s.referenceType == ReferenceType::OM_REF_SELECTOR_ARRAY &&
                            function->getName() != "select") {
                            auto array = std::make_shared<OMArray>(1, node);
                            ASSIGN(node, OMStored::factory(array));
                        }
                        success = node != nullptr;
                        break;
                    }
                    auto matches = s.head->getMatches();
                    if (!matches || matches->empty()) {
                        success = s.accessType == AccessType::GET;
                        break;
                    }
                    if (matches->size() == 1 && s.referenceType != ReferenceType::OM_REF_SELECTOR_ARRAY) {
                        node = matches->front();
                    } else {
                        ASSIGN(node, OMStored::factory(std::make_shared<OMArray>(*matches)));
                    }
                    success = true;
                    break;
                }
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

void OMAccessor::get_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                              const std::string& path, ReferenceType referenceType) const
{
    struct LocalVariableState : virtual OMFunctionState {
        bool success = false;
    };
    enum : unsigned { QUERY = 1 };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0:
                    s.fState = QUERY;
                    break;
                    YIELDING_CALL(
                        QUERY, accessOMNodeReadOnly_yielding(task, s.success, path, retVal, referenceType));
                case resumeAfter(QUERY):
                    s.fState = kFinished;
                    if (!s.success) retVal.reset();
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

void OMAccessor::set_yielding(const std::shared_ptr<Task>& task, bool& success, const std::string& path,
                              std::shared_ptr<IOMNode>& node)
{
    accessOMNode_yielding(task, success, AccessType::SET, path, node,
                          ReferenceType::OM_REF_SELECTOR_SINGLE_ELEMENT_OR_ARRAY);
}

void OMAccessor::accessOMNode_yielding(const std::shared_ptr<Task>& task, bool& success,
                                       AccessType accessType, const std::string& attr,
                                       std::shared_ptr<IOMNode>& node)
{
    fOMNode->accessOMNodeResolved_yielding(task, success, fAccessorScope, nullptr, accessType, attr, node);
}

void OMAccessor::accessOMNode_yielding(const std::shared_ptr<Task>& task, bool& success,
                                       AccessType accessType, uint64_t idx, std::shared_ptr<IOMNode>& node)
{
    fOMNode->accessOMNodeResolved_yielding(task, success, fAccessorScope, nullptr, accessType, idx, node);
}

void OMAccessor::accessOMNodeReadOnly_yielding(const std::shared_ptr<Task>& task, bool& success,
                                               const std::string& attr, std::shared_ptr<IOMNode>& node) const
{
    fOMNode->accessOMNodeReadOnlyResolved_yielding(task, success, fAccessorScope, nullptr, attr, node);
}

void OMAccessor::accessOMNodeReadOnly_yielding(const std::shared_ptr<Task>& task, bool& success, uint64_t idx,
                                               std::shared_ptr<IOMNode>& node) const
{
    fOMNode->accessOMNodeReadOnlyResolved_yielding(task, success, fAccessorScope, nullptr, idx, node);
}

bool OMAccessor::accessOMNode(AccessType accessType, const std::string& path, std::shared_ptr<IOMNode>& node,
                              ReferenceType referenceType)
{
    bool success = false;
    bool completed = CallYieldingTask::run("accessOMNode", [&](const std::shared_ptr<Task>& task) {
        accessOMNode_yielding(task, success, accessType, path, node, referenceType);
    });
    return completed && success;
}

bool OMAccessor::accessOMNodeReadOnly(const std::string& path, std::shared_ptr<IOMNode>& node,
                                      ReferenceType referenceType) const
{
    bool success = false;
    bool completed = CallYieldingTask::run("accessOMNodeReadOnly", [&](const std::shared_ptr<Task>& task) {
        accessOMNodeReadOnly_yielding(task, success, path, node, referenceType);
    });
    return completed && success;
}

std::shared_ptr<IOMNode> OMAccessor::get(const std::string& path, ReferenceType referenceType) const
{
    std::shared_ptr<IOMNode> retVal;
    bool completed = CallYieldingTask::run(
        "get", [&](const std::shared_ptr<Task>& task) { get_yielding(task, retVal, path, referenceType); });
    return completed ? retVal : nullptr;
}

bool OMAccessor::setPath(const std::string& path, std::shared_ptr<IOMNode>& node)
{
    bool success = false;
    bool completed = CallYieldingTask::run(
        "setPath", [&](const std::shared_ptr<Task>& task) { set_yielding(task, success, path, node); });
    return completed && success;
}

}  // namespace Qfn
