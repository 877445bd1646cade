#pragma once

#include <memory>
#include <string>

#include "QfnParser/query/MatchNode.h"

namespace Qfn {

// `name()`: sits on the node reached so far, collects what the segments behind it match, and
// computes a value from that: count(), name(), select(), or a script function of that name.
// A script function is called as name(phase, node, key): first with "ignore", where true vetoes
// the visit, then with "process", whose result is the computed value.
class MatchNodeFunction : public MatchNode {
public:
    static std::shared_ptr<MatchNodeFunction> factory(const std::string& name);

    bool isIterMatch(const std::shared_ptr<IOMNodeIterator>& iter) const override;
    std::shared_ptr<IOMNode> getFunctionResult() const override { return fFunctionResult; }
    bool registerMatch(const std::shared_ptr<IOMNode>& node) override;
    void traverse_yielding(const std::shared_ptr<Task>& task, bool& success,
                           const std::shared_ptr<OMScope>& scope, const std::shared_ptr<IOMNode>& omNode,
                           AccessType accessType, const std::shared_ptr<IOMNode>& setOMNode) override;

    const std::string& getName() const { return fName; }

private:
    explicit MatchNodeFunction(std::string name) : MatchNode(false, 1, 1), fName(std::move(name)) {}

    // count(), name() and select() over the matches collected; null for any other name.
    std::shared_ptr<IOMNode> computeBuiltin() const;
    bool isBuiltin() const { return fName == "count" || fName == "name" || fName == "select"; }

    std::string fName;
    std::shared_ptr<IOMNode> fFunctionResult;
};

}  // namespace Qfn
