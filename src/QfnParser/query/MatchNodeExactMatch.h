#pragma once

#include <memory>
#include <string>

#include "QfnParser/query/MatchNode.h"

namespace Qfn {

// A plain key: one direct lookup, no iteration. On a write it also builds what is missing.
class MatchNodeExactMatch : public MatchNode {
public:
    static std::shared_ptr<MatchNodeExactMatch> factory(const std::string& key);

    bool isIterMatch(const std::shared_ptr<IOMNodeIterator>& iter) const override;
    void traverse_yielding(const std::shared_ptr<Task>& task, bool& success,
                           const std::shared_ptr<OMScope>& scope, const std::shared_ptr<IOMNode>& omNode,
                           AccessType accessType, const std::shared_ptr<IOMNode>& setOMNode) override;

    const std::string& getKey() const { return fKey; }

private:
    explicit MatchNodeExactMatch(std::string key) : MatchNode(false, 1, 1), fKey(std::move(key)) {}

    std::string fKey;
};

}  // namespace Qfn
