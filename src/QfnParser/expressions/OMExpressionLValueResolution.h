#pragma once

#include <memory>

#include "QfnParser/Forward.h"

namespace Qfn {

// One resolved link of an l-value chain: the value on its left, the evaluated arguments of a call,
// and the receiver of a method call.
class OMExpressionLValueResolution {
public:
    void clear() { *this = OMExpressionLValueResolution(); }

    const std::shared_ptr<IOMNode>& getThisNode() const { return fThisNode; }
    void setThisNode(std::shared_ptr<IOMNode> thisNode) { fThisNode = std::move(thisNode); }
    bool getIsMethod() const { return fIsMethod; }
    void setIsMethod(bool isMethod) { fIsMethod = isMethod; }
    // The argument, or null past the end: that is how a built-in finds its optional arguments.
    std::shared_ptr<IOMNode> getArgNode(uint64_t idx) const
    {
        return fResolvedArgumentList && idx < fResolvedArgumentList->size() ? (*fResolvedArgumentList)[idx]
                                                                            : nullptr;
    }
    uint64_t getArgCount() const { return fResolvedArgumentList ? fResolvedArgumentList->size() : 0; }

    std::shared_ptr<IOMNode> fResolvedParent;
    NodeList fResolvedArgumentList;
    std::shared_ptr<IOMNode> fThisNode;
    bool fIsMethod = false;
};

}  // namespace Qfn
