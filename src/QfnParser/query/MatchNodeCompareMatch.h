#pragma once

#include <memory>
#include <string>

#include "QfnParser/model/Operators.h"
#include "QfnParser/query/MatchNode.h"

namespace Qfn {

// A comparison segment: the keys that compare to the value, as byte strings, by the operator.
class MatchNodeCompareMatch : public MatchNode {
public:
    // Inversion swaps the operator; an equality that remains gives a MatchNodeExactMatch.
    static std::shared_ptr<MatchNode> factory(BinOp binOp, const std::string& value, bool inverted);

    bool isIterMatch(const std::shared_ptr<IOMNodeIterator>& iter) const override;

    BinOp getBinOp() const { return fBinOp; }

private:
    MatchNodeCompareMatch(BinOp binOp, std::string value)
        : MatchNode(false, 1, 1), fBinOp(binOp), fValue(std::move(value))
    {
    }

    BinOp fBinOp;
    std::string fValue;
};

}  // namespace Qfn
