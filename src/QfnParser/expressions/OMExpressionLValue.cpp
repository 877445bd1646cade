#include "QfnParser/expressions/OMExpressionLValue.h"

#include <typeinfo>

#include "QfnLogger/Check.h"
#include "QfnParser/model/OMNode.h"
#include "QfnParser/model/OMStored.h"
#include "QfnTask/YieldingFrame.h"

namespace Qfn {

void OMExpressionLValue::get_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                                      AccessType accessType, const std::shared_ptr<OMScope>& scope,
                                      ScriptPhase scriptPhase)
{
    // A read passes no new value; the callee only looks at it, so a fresh empty one on each entry
    // does.
    std::shared_ptr<IOMNode> noNewValue;
    get_yielding(task, retVal, accessType, scope, scriptPhase, noNewValue);
}

// The chain is read for writing with the value to store; its last link stores it.
void OMExpressionLValue::set_yielding(const std::shared_ptr<Task>& task, bool& retVal,
                                      std::shared_ptr<IOMNode>& value, const std::shared_ptr<OMScope>& scope,
                                      ScriptPhase scriptPhase)
{
    struct LocalVariableState : virtual OMFunctionState {
        std::shared_ptr<IOMNode> targetedNode;
    };
    enum : unsigned { STORE = 1 };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) retVal = false;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0:
                    s.fState = kFinished;
                    SANITY_CHECK(value);
                    s.fState = STORE;
                    break;
                    YIELDING_CALL(STORE, get_yielding(task, s.targetedNode, AccessType::GET_CREATE, scope,
                                                      scriptPhase, value));
                case resumeAfter(STORE):
                    s.fState = kFinished;
                    SANITY_CHECK(s.targetedNode);
                    retVal = true;
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

void OMExpressionLValue::resolve_yielding(const std::shared_ptr<Task>& task, bool& retVal, AccessType,
                                          const std::shared_ptr<OMScope>& scope, ScriptPhase scriptPhase,
                                          OMExpressionLValueResolution& resolution)
{
    struct LocalVariableState : virtual OMFunctionState {
        bool isResolved = false;
    };
    enum : unsigned { RESOLVE_ARGUMENTS = 1, CHOOSE_PARENT, RESOLVE_PARENT, DONE };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) retVal = false;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0:
                    s.fState = kFinished;
                    resolution.clear();
                    if (scriptPhase == ScriptPhase::PARSE) break;
                    SANITY_CHECK(scope);
                    s.fState = fUnresolvedArgumentList ? RESOLVE_ARGUMENTS : CHOOSE_PARENT;
                    break;
                    YIELDING_CALL(RESOLVE_ARGUMENTS,
                                  OMNode::resolveArgumentList_yielding(
                                      task, resolution.fResolvedArgumentList, AccessType::GET,
                                      fUnresolvedArgumentList, s.isResolved, scope, scriptPhase));
                case resumeAfter(RESOLVE_ARGUMENTS):
                    s.fState = kFinished;
                    SANITY_CHECK(resolution.fResolvedArgumentList);
                    s.fState = CHOOSE_PARENT;
                    break;
                case CHOOSE_PARENT:
                    s.fState = fParent ? RESOLVE_PARENT : DONE;
                    break;
                    YIELDING_CALL(RESOLVE_PARENT,
                                  OMNode::getResolvedNode_yielding(task, resolution.fResolvedParent,
                                                                   AccessType::GET, fParent, scope,
                                                                   scriptPhase, HandleReturnValue::UNWRAP));
                case resumeAfter(RESOLVE_PARENT):
                    s.fState = kFinished;
                    SANITY_CHECK(resolution.fResolvedParent);
                    // The value on the left is the receiver of a call made on this link.
                    resolution.setThisNode(resolution.fResolvedParent);
                    resolution.setIsMethod(true);
                    s.fState = DONE;
                    break;
                case DONE:
                    retVal = true;
                    s.fState = kFinished;
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

bool OMExpressionLValue::getAtOnce(const std::shared_ptr<OMScope>& scope, std::shared_ptr<IOMNode>& retVal)
{
    return accessAtOnce(scope, AccessType::GET, nullptr, retVal);
}

// As set_yielding: the node is reached for writing with the value, which the link stores.
bool OMExpressionLValue::setAtOnce(const std::shared_ptr<OMScope>& scope,
                                   const std::shared_ptr<IOMNode>& value, bool& stored)
{
    std::shared_ptr<IOMNode> targetedNode;
    if (!accessAtOnce(scope, AccessType::GET_CREATE, value, targetedNode)) return false;
    stored = false;
    do {
        SANITY_CHECK(targetedNode);
        stored = true;
    } while (false);
    return true;
}

bool OMExpressionLValue::isLinkAtOnce(AtOnceMode mode) const
{
    return !fUnresolvedArgumentList && (!fParent || OMNode::isResolvableAtOnce(fParent, mode));
}

bool OMExpressionLValue::resolveHolderAtOnce(const std::shared_ptr<OMScope>& scope,
                                             std::shared_ptr<IOMNode>& parent, OMStored*& holder) const
{
    holder = nullptr;
    if (!OMNode::getResolvedNodeAtOnce(fParent, scope, HandleReturnValue::UNWRAP, parent)) return false;
    do {
        SANITY_CHECK(parent);
        holder = parent->asPlainStored();
        return holder != nullptr;
    } while (false);
    return true;
}

std::shared_ptr<IOMNode> OMExpressionLValue::deliver(bool found, std::shared_ptr<IOMNode>& node,
                                                     AccessType access,
                                                     const std::shared_ptr<IOMNode>& optionalNewValue,
                                                     const std::shared_ptr<IOMNode>& holder) const
{
    std::shared_ptr<IOMNode> retVal;
    try {
        do {
            if (!found || !node) {
                if (access == AccessType::GET) {
                    retVal = OMStored::errorFactory();
                } else {
                    LOG_ERROR("cannot write " + toString());
                    ScriptFault::note(fPlace, [this] { return "cannot write " + toString(); });
                }
                break;
            }
            if (optionalNewValue) {
                // A node held anywhere but by its place and here may be inside the new value.
                if ((holder && OMStored::wouldMakeCycle(*holder, *optionalNewValue)) ||
                    (node.use_count() > 2 && OMStored::wouldHoldItself(*node, *optionalNewValue))) {
                    LOG_ERROR("cannot store a structure inside itself: " + toString());
                    ScriptFault::note(
                        fPlace, [this] { return "cannot store a structure inside itself: " + toString(); });
                    break;
                }
                SANITY_CHECK(node->set(optionalNewValue));
            }
            retVal = std::move(node);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// A compound value on the left of a link is put in parentheses (a statement list in braces), so
// are numbers (`(5).x`), whose '.' would otherwise read as a fraction.
std::string OMExpressionLValue::toString() const
{
    std::string retVal;
    if (fParent) {
        OMType type = fParent->getType();
        if (type == OMType::Int || type == OMType::Float) {
            retVal = "(" + nodeSourceText(fParent) + ")";
        } else {
            retVal = operandSourceText(fParent, 0);
        }
    }
    return retVal + linkText();
}

uint64_t OMExpressionLValue::hash() const
{
    uint64_t retVal = mixHash(linkHash(), nodeHash(fParent));
    if (fUnresolvedArgumentList) {
        for (const auto& argument : *fUnresolvedArgumentList)
            retVal = mixHash(retVal, nodeHash(argument));
    }
    return retVal;
}

bool OMExpressionLValue::compareArgumentListEqual(const OMExpressionLValue& other) const
{
    const auto& mine = fUnresolvedArgumentList;
    const auto& theirs = other.fUnresolvedArgumentList;
    if (!mine || !theirs) return !mine == !theirs;
    if (mine->size() != theirs->size()) return false;
    for (size_t i = 0; i < mine->size(); ++i)
        if (!nodesEqual((*mine)[i], (*theirs)[i])) return false;
    return true;
}

bool OMExpressionLValue::compareArgumentListLess(const OMExpressionLValue& other) const
{
    const auto& mine = fUnresolvedArgumentList;
    const auto& theirs = other.fUnresolvedArgumentList;
    if (!mine || !theirs) return !mine && theirs;
    for (size_t i = 0; i < mine->size() && i < theirs->size(); ++i) {
        if (nodesLess((*mine)[i], (*theirs)[i])) return true;
        if (nodesLess((*theirs)[i], (*mine)[i])) return false;
    }
    return mine->size() < theirs->size();
}

bool OMExpressionLValue::operator==(const OMExpression& other) const
{
    const auto* otherLValue = dynamic_cast<const OMExpressionLValue*>(&other);
    return otherLValue && typeid(*this) == typeid(other) && linkEqual(*otherLValue) &&
           nodesEqual(fParent, otherLValue->fParent) && compareArgumentListEqual(*otherLValue);
}

bool OMExpressionLValue::operator<(const OMExpression& other) const
{
    const auto* otherLValue = dynamic_cast<const OMExpressionLValue*>(&other);
    if (!otherLValue || typeid(*this) != typeid(other)) return isClassBefore(other);
    if (linkLess(*otherLValue)) return true;
    if (otherLValue->linkLess(*this)) return false;
    if (nodesLess(fParent, otherLValue->fParent)) return true;
    if (nodesLess(otherLValue->fParent, fParent)) return false;
    return compareArgumentListLess(*otherLValue);
}

bool OMExpressionLValue::scanForLocalVariables(const std::shared_ptr<FunctionSignature>& functionSignature,
                                               bool& inLocalSequence)
{
    bool retVal = true;
    if (auto expression = expressionOf(fParent))
        retVal = expression->scanForLocalVariables(functionSignature, inLocalSequence);
    if (fUnresolvedArgumentList) {
        for (const auto& argument : *fUnresolvedArgumentList) {
            if (auto expression = expressionOf(argument))
                retVal = expression->scanForLocalVariables(functionSignature, inLocalSequence) && retVal;
        }
    }
    return retVal;
}

}  // namespace Qfn
