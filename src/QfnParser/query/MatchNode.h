#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <unordered_set>
#include <vector>

#include "QfnParser/Forward.h"
#include "QfnParser/model/AccessType.h"

namespace Qfn {

class Task;

// One segment of a compiled path. Segments form a chain through fNext; the results of a walk are
// kept at the head of the chain (or at the nearest function segment above the one that matched).
class MatchNode : public std::enable_shared_from_this<MatchNode> {
public:
    static constexpr size_t kUnlimitedLevels = ~size_t(0);

    virtual bool isIterMatch(const std::shared_ptr<IOMNodeIterator>& iter) const = 0;
    virtual ~MatchNode() = default;
    virtual std::shared_ptr<std::vector<std::shared_ptr<IOMNode>>> getMatches() const { return fMatches; }
    virtual std::shared_ptr<IOMNode> getFunctionResult() const { return nullptr; }
    virtual bool registerMatch(const std::shared_ptr<IOMNode>& node);
    // Walks the members of omNode (and deeper, as the level bounds allow) and hands every match on
    // to the next segment; on the last segment a match is written (for writes) and registered.
    virtual void traverse_yielding(const std::shared_ptr<Task>& task, bool& success,
                                   const std::shared_ptr<OMScope>& scope,
                                   const std::shared_ptr<IOMNode>& omNode, AccessType accessType,
                                   const std::shared_ptr<IOMNode>& setOMNode);

    // Links next behind parent.
    static bool setParent(const std::shared_ptr<MatchNode>& next, const std::shared_ptr<MatchNode>& parent);

    const std::shared_ptr<MatchNode>& getNext() const { return fNext; }
    std::shared_ptr<MatchNode> getParent() const { return fParent.lock(); }
    size_t getMinLevel() const { return fMinLevel; }
    size_t getMaxLevel() const { return fMaxLevel; }
    bool getInverted() const { return fInverted; }
    // Set on the head: the walk ends as soon as the head holds a result.
    void setStopAtFirstMatch(bool value) { fStopAtFirstMatch = value; }

protected:
    MatchNode(bool inverted, size_t minLevel, size_t maxLevel)
        : fInverted(inverted), fMinLevel(minLevel), fMaxLevel(maxLevel)
    {
    }

    // True once a first-match query has its result: every loop of the walk stops there.
    bool isTraversalDone() const;
    // A match on the last segment: written first when the access writes, then registered.
    bool deliverMatch(const std::shared_ptr<IOMNode>& node, AccessType accessType,
                      const std::shared_ptr<IOMNode>& setOMNode);
    // Empties this segment's results, for a segment that computes them anew on every visit.
    void resetMatches();

    std::weak_ptr<MatchNode> fParent;
    std::shared_ptr<MatchNode> fNext;
    bool fInverted = false;
    size_t fMinLevel = 1;
    size_t fMaxLevel = 1;
    size_t fCurLevel = 0;
    bool fStopAtFirstMatch = false;
    std::shared_ptr<std::vector<std::shared_ptr<IOMNode>>> fMatches;
    std::shared_ptr<std::unordered_set<std::shared_ptr<IOMNode>>> fMatchSet;
};

}  // namespace Qfn
