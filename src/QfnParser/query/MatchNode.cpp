#include "QfnParser/query/MatchNode.h"

#include "QfnLogger/Check.h"
#include "QfnParser/model/IOMNode.h"
#include "QfnParser/query/MatchNodeFunction.h"
#include "QfnTask/YieldingFrame.h"

namespace Qfn {

namespace {

bool isWrite(AccessType accessType)
{
    return accessType == AccessType::GET_CREATE || accessType == AccessType::SET;
}

bool isContainer(const std::shared_ptr<IOMNode>& node)
{
    return node && (node->getType() == OMType::Array || node->getType() == OMType::Map);
}

}  // namespace

bool MatchNode::setParent(const std::shared_ptr<MatchNode>& next, const std::shared_ptr<MatchNode>& parent)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(next && parent);
            next->fParent = parent;
            parent->fNext = next;
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool MatchNode::registerMatch(const std::shared_ptr<IOMNode>& node)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(node);
            // Up to the head, or to the nearest function segment, which keeps its own results.
            std::shared_ptr<MatchNode> target = shared_from_this();
            for (auto parent = target->fParent.lock(); parent; parent = parent->fParent.lock()) {
                target = parent;
                if (dynamic_cast<MatchNodeFunction*>(parent.get())) break;
            }
            if (target.get() != this && dynamic_cast<MatchNodeFunction*>(target.get())) {
                retVal = target->registerMatch(node);
                break;
            }
            if (!target->fMatches)
                target->fMatches = std::make_shared<std::vector<std::shared_ptr<IOMNode>>>();
            if (!target->fMatchSet)
                target->fMatchSet = std::make_shared<std::unordered_set<std::shared_ptr<IOMNode>>>();
            if (target->fMatchSet->insert(node).second) target->fMatches->push_back(node);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

void MatchNode::resetMatches()
{
    fMatches.reset();
    fMatchSet.reset();
}

bool MatchNode::isTraversalDone() const
{
    const MatchNode* head = this;
    for (auto parent = fParent.lock(); parent; parent = parent->fParent.lock())
        head = parent.get();
    return head->fStopAtFirstMatch && head->fMatches && !head->fMatches->empty();
}

bool MatchNode::deliverMatch(const std::shared_ptr<IOMNode>& node, AccessType accessType,
                             const std::shared_ptr<IOMNode>& setOMNode)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(node);
            if (isWrite(accessType) && setOMNode) {
                SANITY_CHECK(node->set(setOMNode));
            }
            retVal = registerMatch(node);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

void MatchNode::traverse_yielding(const std::shared_ptr<Task>& task, bool& success,
                                  const std::shared_ptr<OMScope>& scope,
                                  const std::shared_ptr<IOMNode>& omNode, AccessType accessType,
                                  const std::shared_ptr<IOMNode>& setOMNode)
{
    struct LocalVariableState : virtual OMFunctionState {
        std::shared_ptr<OMScope> scope;
        std::shared_ptr<IOMNode> omNode;
        std::shared_ptr<IOMNode> setOMNode;
        AccessType accessType = AccessType::GET;
        std::shared_ptr<IOMNodeIterator> iter;
        std::shared_ptr<IOMNode> child;
        bool subSuccess = false;
        bool failed = false;
    };
    enum : unsigned { NEXT_CHILD = 1, DESCEND, AT_LEVEL, FOLLOW, ADVANCE, ZERO_LEVEL, FOLLOW_ZERO_LEVEL };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        LocalVariableState& s = *frame;
        if (frame.isFirstEntry()) {
            success = false;
            s.scope = scope;
            s.omNode = omNode;
            s.setOMNode = setOMNode;
            s.accessType = accessType;
        }
        do {
            switch (s.fState) {
                case 0:
                    s.fState = kFinished;
                    SANITY_CHECK(s.omNode);
                    // A scalar has no members; only the zero-level rule may still apply.
                    s.iter = s.omNode->getNodeIterator();
                    s.fState = s.iter ? NEXT_CHILD : ZERO_LEVEL;
                    break;

                case NEXT_CHILD:
                    if (s.iter->atEnd() || isTraversalDone()) {
                        s.fState = ZERO_LEVEL;
                        break;
                    }
                    if (!isIterMatch(s.iter)) {
                        (*s.iter)++;
                        break;
                    }
                    s.child = **s.iter;
                    ++fCurLevel;
                    // Deeper matches first, then the child itself.
                    s.fState = fCurLevel < fMaxLevel && isContainer(s.child) ? DESCEND : AT_LEVEL;
                    break;

                    YIELDING_CALL(DESCEND, traverse_yielding(task, s.subSuccess, s.scope, s.child,
                                                             s.accessType, s.setOMNode));
                case resumeAfter(DESCEND):
                    if (!s.subSuccess) s.failed = true;
                    s.fState = AT_LEVEL;
                    break;

                case AT_LEVEL:
                    s.fState = ADVANCE;
                    if (fCurLevel < fMinLevel || isTraversalDone()) break;
                    if (fNext) {
                        s.fState = FOLLOW;
                        break;
                    }
                    if (!deliverMatch(s.child, s.accessType, s.setOMNode)) s.failed = true;
                    break;

                    YIELDING_CALL(FOLLOW, fNext->traverse_yielding(task, s.subSuccess, s.scope, s.child,
                                                                   s.accessType, s.setOMNode));
                case resumeAfter(FOLLOW):
                    if (!s.subSuccess) s.failed = true;
                    s.fState = ADVANCE;
                    break;

                case ADVANCE:
                    --fCurLevel;
                    s.child.reset();
                    (*s.iter)++;
                    s.fState = NEXT_CHILD;
                    break;

                case ZERO_LEVEL:
                    s.fState = kFinished;
                    success = !s.failed;
                    // A segment that may cross no level lets the node itself stand for it.
                    if (fMinLevel != 0 || fCurLevel != 0 || isTraversalDone()) break;
                    if (fNext) {
                        s.fState = FOLLOW_ZERO_LEVEL;
                        break;
                    }
                    success = deliverMatch(s.omNode, s.accessType, s.setOMNode) && !s.failed;
                    break;

                    YIELDING_CALL(FOLLOW_ZERO_LEVEL,
                                  fNext->traverse_yielding(task, s.subSuccess, s.scope, s.omNode,
                                                           s.accessType, s.setOMNode));
                case resumeAfter(FOLLOW_ZERO_LEVEL):
                    s.fState = kFinished;
                    success = s.subSuccess && !s.failed;
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

}  // namespace Qfn
