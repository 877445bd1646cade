#pragma once

#include <cstdint>
#include <memory>

#include "QfnParser/query/MatchNode.h"

namespace Qfn {

// `[a-b]` and `[]`: the array elements whose index lies between the bounds, both included.
class MatchNodeRange : public MatchNode {
public:
    static std::shared_ptr<MatchNodeRange> factory(uint64_t first, uint64_t last, bool inverted);

    bool isIterMatch(const std::shared_ptr<IOMNodeIterator>& iter) const override;

private:
    MatchNodeRange(uint64_t first, uint64_t last, bool inverted)
        : MatchNode(inverted, 1, 1), fFirst(first), fLast(last)
    {
    }

    uint64_t fFirst;
    uint64_t fLast;
};

}  // namespace Qfn
