// The resumable parts of OMNode: resolving parsed values and argument lists, and the access and
// assignment paths that build on them.
#include "QfnLogger/Check.h"
#include "QfnParser/expressions/AtOnceCalls.h"
#include "QfnParser/expressions/OMExpression.h"
#include "QfnParser/model/OMNode.h"
#include "QfnParser/model/OMScope.h"
#include "QfnParser/model/OMStored.h"
#include "QfnTask/YieldingFrame.h"

namespace Qfn {

namespace {

// How many nodes of a container literal are looked at before it is built the resumable way. Each
// level of a deep literal asks again about what lies below it: a bound keeps a literal nested
// 100,000 deep from costing the square of its depth, and a small literal is still built at once.
constexpr size_t kLiteralCheckBudget = 32;

// Whether every member of a container literal resolves at once, within budget nodes.
bool membersResolvableAtOnce(const IOMNode& node, AtOnceMode mode, size_t& budget)
{
    std::shared_ptr<IOMNodeIterator> iter = node.getNodeIterator();
    if (!iter) return false;
    for (; !iter->atEnd(); (*iter)++) {
        if (budget == 0) return false;
        --budget;
        const std::shared_ptr<IOMNode>& member = **iter;
        const bool isContainer =
            member && (member->getType() == OMType::Array || member->getType() == OMType::Map);
        if (isContainer ? !(member->asPlainStored() && membersResolvableAtOnce(*member, mode, budget))
                        : !OMNode::isResolvableAtOnce(member, mode))
            return false;
    }
    return true;
}

bool membersResolvableAtOnce(const IOMNode& node, AtOnceMode mode)
{
    size_t budget = kLiteralCheckBudget;
    return membersResolvableAtOnce(node, mode, budget);
}

bool resolveKnownAtOnce(const std::shared_ptr<IOMNode>& node, const std::shared_ptr<OMScope>& scope,
                        HandleReturnValue handleReturnValue, std::shared_ptr<IOMNode>& retVal);

// A container literal built member by member as the resumable resolution builds it: each member
// a node of its own. Gives up (having made only temporaries) at a member that cannot be resolved
// at once after all.
bool containerAtOnce(const std::shared_ptr<IOMNode>& node, const std::shared_ptr<OMScope>& scope,
                     HandleReturnValue handleReturnValue, std::shared_ptr<IOMNode>& retVal)
{
    const bool isArray = node->getType() == OMType::Array;
    std::shared_ptr<OMStored> container = isArray ? OMStored::arrayFactory() : OMStored::mapFactory();
    std::shared_ptr<IOMNodeIterator> iter = node->getNodeIterator();
    if (!container || !iter) return false;
    std::shared_ptr<IOMNode> resolved;
    for (; !iter->atEnd(); (*iter)++) {
        if (!resolveKnownAtOnce(**iter, scope, handleReturnValue, resolved)) return false;
        bool stored = false;
        if (resolved) {
            std::shared_ptr<OMStored> member = OMStored::factory(*resolved);
            stored =
                member && (isArray ? container->push(member) : container->bindMember(iter->getKey(), member));
        }
        if (!stored) {
            retVal = nullptr;
            return true;
        }
    }
    retVal = std::move(container);
    return true;
}

// A member of a literal already checked as a whole: its own members need no second look.
bool resolveKnownAtOnce(const std::shared_ptr<IOMNode>& node, const std::shared_ptr<OMScope>& scope,
                        HandleReturnValue handleReturnValue, std::shared_ptr<IOMNode>& retVal)
{
    if (node && scope && (node->getType() == OMType::Array || node->getType() == OMType::Map))
        return node->asPlainStored() && containerAtOnce(node, scope, handleReturnValue, retVal);
    return OMNode::getResolvedNodeAtOnce(node, scope, handleReturnValue, retVal);
}

// The record of a resumable resolution: a container literal being rebuilt member by member, a
// function being bound to its name, or an expression being evaluated.
struct ResolutionState : virtual OMFunctionState {
    std::shared_ptr<OMStored> container;
    std::shared_ptr<IOMNodeIterator> iter;
    std::shared_ptr<IOMNode> member;
    std::shared_ptr<IOMNode> resolved;
    std::shared_ptr<IOMNode> stored;
    std::string key;
    std::shared_ptr<OMExpression> expression;
};

enum : unsigned {
    NEXT_ELEMENT = 1,
    RESOLVE_ELEMENT,
    NEXT_MEMBER,
    RESOLVE_MEMBER,
    STORE_MEMBER,
    BIND_FUNCTION,
    EVAL_EXPRESSION,
    GET_EXPRESSION,
};

// The first state of a resolution, by the type of the node; kFinished when the node stands for
// itself (retVal holds it then) or cannot be resolved (retVal is empty).
unsigned startResolution(ResolutionState& s, std::shared_ptr<IOMNode>& retVal, AccessType accessType,
                         const IOMNode& node, ScriptPhase scriptPhase)
{
    switch (node.getType()) {
        case OMType::Array:
            s.container = OMStored::arrayFactory();
            s.iter = node.getNodeIterator();
            return NEXT_ELEMENT;
        case OMType::Map:
            s.container = OMStored::mapFactory();
            s.iter = node.getNodeIterator();
            return NEXT_MEMBER;
        case OMType::Function:
            // A function literal without a name stays an anonymous value.
            s.key = node.getFunctionName();
            if (s.key.empty()) return kFinished;
            // The scope gets a node of its own: assigning to the name later must not change the
            // parsed function.
            s.stored = OMStored::factory(node);
            return BIND_FUNCTION;
        case OMType::Expression:
            retVal = nullptr;
            if (accessType != AccessType::SET && scriptPhase != ScriptPhase::PARSE) return EVAL_EXPRESSION;
            s.expression = node.getExpression();
            return s.expression ? GET_EXPRESSION : kFinished;
        default:
            return kFinished;
    }
}

}  // namespace

bool OMNode::isResolvableAtOnce(const std::shared_ptr<IOMNode>& node, AtOnceMode mode)
{
    if (!node) return true;
    switch (node->getType()) {
        case OMType::Array:
        case OMType::Map:
            return node->asPlainStored() && membersResolvableAtOnce(*node, mode);
        case OMType::Function:
            return false;
        case OMType::Expression: {
            OMStored* stored = node->asPlainStored();
            if (!stored) return false;
            if (stored->isReturnValue()) {
                // `return x`: evaluated as x is, then wrapped again; a container or function behind
                // a return is built the resumable way only (as evalAtOnce does), so that an
                // enclosing expression never starts at once what it cannot finish at once.
                const std::shared_ptr<IOMNode> source = stored->unwrapReturnValue();
                if (!source || source.get() == node.get()) return false;
                const OMStored* sourceStored = source->asPlainStored();
                if (!sourceStored || sourceStored->isReturnValue()) return false;
                const OMType type = source->getType();
                if (type == OMType::Array || type == OMType::Map || type == OMType::Function) return false;
                return isResolvableAtOnce(source, mode);
            }
            const std::shared_ptr<OMExpression> expression = stored->getExpression();
            return expression && expression->isAtOnce(mode);
        }
        default:
            return true;
    }
}

bool OMNode::isEachResolvableAtOnce(const NodeList& nodes, AtOnceMode mode)
{
    if (!nodes) return false;
    for (const auto& node : *nodes)
        if (!isResolvableAtOnce(node, mode)) return false;
    return true;
}

bool OMNode::getResolvedNodeAtOnce(const std::shared_ptr<IOMNode>& node,
                                   const std::shared_ptr<OMScope>& scope, HandleReturnValue handleReturnValue,
                                   std::shared_ptr<IOMNode>& retVal)
{
    if (!node || !scope) {
        retVal = node;
        return true;
    }
    switch (node->getType()) {
        case OMType::Array:
        case OMType::Map:
            // Checked first, so that a literal with a member that must suspend is not half built
            // and then built again the resumable way on every evaluation.
            return node->asPlainStored() && membersResolvableAtOnce(*node, AtOnceCalls::mode()) &&
                   containerAtOnce(node, scope, handleReturnValue, retVal);
        case OMType::Function:
            return false;
        case OMType::Expression: {
            OMStored* stored = node->asPlainStored();
            return stored && stored->evalAtOnce(node, scope, handleReturnValue, retVal);
        }
        default:
            retVal = node;
            return true;
    }
}

void OMNode::getResolvedNode_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                                      AccessType accessType, const std::shared_ptr<IOMNode>& node,
                                      const std::shared_ptr<OMScope>& scope, ScriptPhase scriptPhase,
                                      HandleReturnValue handleReturnValue)
{
    // A fresh call that needs no suspension is done at once, without a frame; a call of a script
    // function may be tried that way as a whole.
    if (fAtOnceEnabled && accessType != AccessType::SET && scriptPhase == ScriptPhase::RUN &&
        !task->areNestedFunctionStatesActive() &&
        (getResolvedNodeAtOnce(node, scope, handleReturnValue, retVal) ||
         AtOnceCalls::attempt(*task, node, scope, handleReturnValue, retVal)))
        return;
    using LocalVariableState = ResolutionState;

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) retVal = nullptr;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0:
                    retVal = node;
                    s.fState = kFinished;
                    if (node && scope) s.fState = startResolution(s, retVal, accessType, *node, scriptPhase);
                    break;

                case NEXT_ELEMENT:
                    if (!s.iter || s.iter->atEnd()) {
                        retVal = s.container;
                        s.fState = kFinished;
                        break;
                    }
                    s.member = **s.iter;
                    s.fState = RESOLVE_ELEMENT;
                    break;
                    YIELDING_CALL(RESOLVE_ELEMENT,
                                  getResolvedNode_yielding(task, s.resolved, accessType, s.member, scope,
                                                           scriptPhase, handleReturnValue));
                case resumeAfter(RESOLVE_ELEMENT):
                    // An element without a value yet leaves the whole array without one. Each element
                    // is a node of its own, so that writing to it never changes the parsed literal.
                    if (!s.resolved || !s.container->push(OMStored::factory(*s.resolved))) {
                        retVal = nullptr;
                        s.fState = kFinished;
                        break;
                    }
                    (*s.iter)++;
                    s.fState = NEXT_ELEMENT;
                    break;

                case NEXT_MEMBER:
                    if (!s.iter || s.iter->atEnd()) {
                        retVal = s.container;
                        s.fState = kFinished;
                        break;
                    }
                    s.key = s.iter->getKey();
                    s.member = **s.iter;
                    s.fState = RESOLVE_MEMBER;
                    break;
                    YIELDING_CALL(RESOLVE_MEMBER,
                                  getResolvedNode_yielding(task, s.resolved, accessType, s.member, scope,
                                                           scriptPhase, handleReturnValue));
                case resumeAfter(RESOLVE_MEMBER):
                    if (!s.resolved) {
                        retVal = nullptr;
                        s.fState = kFinished;
                        break;
                    }
                    s.resolved = OMStored::factory(*s.resolved);
                    s.fState = STORE_MEMBER;
                    break;
                    YIELDING_CALL(STORE_MEMBER, s.container->set_yielding(task, s.stored, s.key, s.resolved));
                case resumeAfter(STORE_MEMBER):
                    if (!s.stored) {
                        retVal = nullptr;
                        s.fState = kFinished;
                        break;
                    }
                    (*s.iter)++;
                    s.fState = NEXT_MEMBER;
                    break;

                    YIELDING_CALL(BIND_FUNCTION, scope->set_yielding(task, s.member, s.key, s.stored));
                case resumeAfter(BIND_FUNCTION):
                    if (!s.member) LOG_ERROR("binding function " + s.key + " failed");
                    s.fState = kFinished;
                    break;

                    YIELDING_CALL(EVAL_EXPRESSION,
                                  node->eval_yielding(task, retVal, scope, handleReturnValue));
                case resumeAfter(EVAL_EXPRESSION):
                    s.fState = kFinished;
                    break;

                    YIELDING_CALL(GET_EXPRESSION,
                                  s.expression->get_yielding(task, retVal, accessType, scope, scriptPhase));
                case resumeAfter(GET_EXPRESSION):
                    s.fState = kFinished;
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

// Failure leaves resolvedList empty; an empty or missing unresolved list resolves to an empty list.
void OMNode::resolveArgumentList_yielding(const std::shared_ptr<Task>& task, NodeList& resolvedList,
                                          AccessType, const NodeList& unresolvedList, bool& isResolved,
                                          const std::shared_ptr<OMScope>& scope, ScriptPhase scriptPhase)
{
    struct LocalVariableState : virtual OMFunctionState {
        size_t idx = 0;
        std::shared_ptr<IOMNode> argument;
        std::shared_ptr<IOMNode> resolved;
    };
    enum : unsigned { NEXT_ARGUMENT = 1, RESOLVE_ARGUMENT };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) {
            isResolved = true;
            resolvedList = std::make_shared<std::vector<std::shared_ptr<IOMNode>>>();
        }
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0:
                    s.fState = NEXT_ARGUMENT;
                    break;
                case NEXT_ARGUMENT:
                    if (!unresolvedList || s.idx >= unresolvedList->size()) {
                        s.fState = kFinished;
                        break;
                    }
                    s.argument = (*unresolvedList)[s.idx];
                    s.fState = RESOLVE_ARGUMENT;
                    break;
                    YIELDING_CALL(RESOLVE_ARGUMENT,
                                  getResolvedNode_yielding(task, s.resolved, AccessType::GET, s.argument,
                                                           scope, scriptPhase, HandleReturnValue::UNWRAP));
                case resumeAfter(RESOLVE_ARGUMENT):
                    if (!s.resolved) {
                        resolvedList = nullptr;
                        s.fState = kFinished;
                        break;
                    }
                    if (!s.resolved->isResolved(scriptPhase)) isResolved = false;
                    resolvedList->push_back(s.resolved);
                    ++s.idx;
                    s.fState = NEXT_ARGUMENT;
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

// The arguments are resolved first; no list stays no list for the resolved access.
template <class Key>
static void accessUnresolved_yielding(OMNode& self, const std::shared_ptr<Task>& task, bool& success,
                                      const std::shared_ptr<OMScope>& scope,
                                      const NodeList& unresolvedArgumentList, AccessType accessType,
                                      const Key& key, std::shared_ptr<IOMNode>& node)
{
    struct LocalVariableState : virtual OMFunctionState {
        NodeList resolvedList;
        bool isResolved = false;
    };
    enum : unsigned { RESOLVE_ARGUMENTS = 1, ACCESS };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) success = false;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0:
                    s.fState = unresolvedArgumentList && !unresolvedArgumentList->empty() ? RESOLVE_ARGUMENTS
                                                                                          : ACCESS;
                    break;
                    YIELDING_CALL(RESOLVE_ARGUMENTS,
                                  OMNode::resolveArgumentList_yielding(task, s.resolvedList, AccessType::GET,
                                                                       unresolvedArgumentList, s.isResolved,
                                                                       scope, ScriptPhase::RUN));
                case resumeAfter(RESOLVE_ARGUMENTS):
                    s.fState = s.resolvedList ? ACCESS : kFinished;
                    break;
                    YIELDING_CALL(ACCESS, self.accessOMNodeResolved_yielding(
                                              task, success, scope, s.resolvedList, accessType, key, node));
                case resumeAfter(ACCESS):
                    s.fState = kFinished;
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

void OMNode::accessOMNodeUnresolved_yielding(const std::shared_ptr<Task>& task, bool& success,
                                             const std::shared_ptr<OMScope>& scope,
                                             const NodeList& unresolvedArgumentList, AccessType accessType,
                                             const std::string& attr, std::shared_ptr<IOMNode>& node)
{
    accessUnresolved_yielding(*this, task, success, scope, unresolvedArgumentList, accessType, attr, node);
}

void OMNode::accessOMNodeUnresolved_yielding(const std::shared_ptr<Task>& task, bool& success,
                                             const std::shared_ptr<OMScope>& scope,
                                             const NodeList& unresolvedArgumentList, AccessType accessType,
                                             uint64_t idx, std::shared_ptr<IOMNode>& node)
{
    accessUnresolved_yielding(*this, task, success, scope, unresolvedArgumentList, accessType, idx, node);
}

// A store is a SET access; retVal is the node that was really stored.
template <class Key>
static void setThroughAccess_yielding(OMNode& self, const std::shared_ptr<Task>& task,
                                      std::shared_ptr<IOMNode>& retVal, const Key& key,
                                      const std::shared_ptr<IOMNode>& node)
{
    struct LocalVariableState : virtual OMFunctionState {
        bool success = false;
        std::shared_ptr<IOMNode> stored;
    };
    enum : unsigned { STORE = 1 };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) retVal = nullptr;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0:
                    s.fState = kFinished;
                    SANITY_CHECK(&self != node.get());
                    s.stored = node;
                    s.fState = STORE;
                    break;
                    YIELDING_CALL(STORE, self.accessOMNodeResolved_yielding(task, s.success, nullptr, nullptr,
                                                                            AccessType::SET, key, s.stored));
                case resumeAfter(STORE):
                    if (s.success) retVal = s.stored;
                    s.fState = kFinished;
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

void OMNode::set_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal, uint64_t idx,
                          const std::shared_ptr<IOMNode>& node)
{
    setThroughAccess_yielding(*this, task, retVal, idx, node);
}

void OMNode::set_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                          const std::string& attr, const std::shared_ptr<IOMNode>& node)
{
    setThroughAccess_yielding(*this, task, retVal, attr, node);
}

}  // namespace Qfn
