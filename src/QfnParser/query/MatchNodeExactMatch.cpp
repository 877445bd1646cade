#include "QfnParser/query/MatchNodeExactMatch.h"

#include "QfnLogger/Check.h"
#include "QfnParser/model/IOMNode.h"
#include "QfnTask/YieldingFrame.h"
#include "QfnUtils/Utils.h"

namespace Qfn {

std::shared_ptr<MatchNodeExactMatch> MatchNodeExactMatch::factory(const std::string& key)
{
    std::shared_ptr<MatchNodeExactMatch> retVal;
    try {
        do {
            retVal.reset(new MatchNodeExactMatch(key));
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool MatchNodeExactMatch::isIterMatch(const std::shared_ptr<IOMNodeIterator>& iter) const
{
    return iter && !iter->atEnd() && iter->getKey() == fKey;
}

void MatchNodeExactMatch::traverse_yielding(const std::shared_ptr<Task>& task, bool& success,
                                            const std::shared_ptr<OMScope>& scope,
                                            const std::shared_ptr<IOMNode>& omNode, AccessType accessType,
                                            const std::shared_ptr<IOMNode>& setOMNode)
{
    struct LocalVariableState : virtual OMFunctionState {
        std::shared_ptr<OMScope> scope;
        std::shared_ptr<IOMNode> omNode;
        std::shared_ptr<IOMNode> setOMNode;
        AccessType accessType = AccessType::GET;
        uint64_t idx = 0;
        bool found = false;
        std::shared_ptr<IOMNode> child;
        bool subSuccess = false;
    };
    enum : unsigned { READ_IDX = 1, READ_ATTR, WRITE_IDX, WRITE_ATTR, FOUND, FOLLOW };

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
                case 0: {
                    s.fState = kFinished;
                    SANITY_CHECK(s.omNode);
                    const bool numeric = Utils::isNumeric(fKey);
                    const bool write =
                        s.accessType == AccessType::GET_CREATE || s.accessType == AccessType::SET;
                    const OMType type = s.omNode->getType();
                    // Nothing there yet: a write makes the container the key asks for.
                    if (write && (type == OMType::Undefined || type == OMType::Null)) {
                        SANITY_CHECK(numeric ? s.omNode->setEmptyArray() : s.omNode->setEmptyMap());
                    }
                    const bool byIdx = numeric && s.omNode->getType() == OMType::Array;
                    if (byIdx) s.idx = Utils::toSize_t(fKey);
                    s.fState = write ? (byIdx ? WRITE_IDX : WRITE_ATTR) : (byIdx ? READ_IDX : READ_ATTR);
                    break;
                }

                    YIELDING_CALL(READ_IDX, s.omNode->accessOMNodeReadOnlyResolved_yielding(
                                                task, s.found, s.scope, nullptr, s.idx, s.child));
                case resumeAfter(READ_IDX):
                    s.fState = FOUND;
                    break;
                    YIELDING_CALL(READ_ATTR, s.omNode->accessOMNodeReadOnlyResolved_yielding(
                                                 task, s.found, s.scope, nullptr, fKey, s.child));
                case resumeAfter(READ_ATTR):
                    s.fState = FOUND;
                    break;
                    YIELDING_CALL(WRITE_IDX, s.omNode->accessOMNodeResolved_yielding(
                                                 task, s.found, s.scope, nullptr, AccessType::GET_CREATE,
                                                 s.idx, s.child));
                case resumeAfter(WRITE_IDX):
                    s.fState = FOUND;
                    break;
                    YIELDING_CALL(WRITE_ATTR, s.omNode->accessOMNodeResolved_yielding(
                                                  task, s.found, s.scope, nullptr, AccessType::GET_CREATE,
                                                  fKey, s.child));
                case resumeAfter(WRITE_ATTR):
                    s.fState = FOUND;
                    break;

                case FOUND:
                    s.fState = kFinished;
                    // A missing key matches nothing; that is no failure of the walk.
                    success = true;
                    if (!s.found || !s.child || isTraversalDone()) break;
                    if (fNext) {
                        s.fState = FOLLOW;
                        break;
                    }
                    success = deliverMatch(s.child, s.accessType, s.setOMNode);
                    break;

                    YIELDING_CALL(FOLLOW, fNext->traverse_yielding(task, s.subSuccess, s.scope, s.child,
                                                                   s.accessType, s.setOMNode));
                case resumeAfter(FOLLOW):
                    s.fState = kFinished;
                    success = s.subSuccess;
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

}  // namespace Qfn
