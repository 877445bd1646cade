#include "QfnParser/query/MatchNodeRange.h"

#include "QfnLogger/Check.h"
#include "QfnParser/model/IOMNode.h"

namespace Qfn {

std::shared_ptr<MatchNodeRange> MatchNodeRange::factory(uint64_t first, uint64_t last, bool inverted)
{
    std::shared_ptr<MatchNodeRange> retVal;
    try {
        do {
            retVal.reset(new MatchNodeRange(first, last, inverted));
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool MatchNodeRange::isIterMatch(const std::shared_ptr<IOMNodeIterator>& iter) const
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(iter && !iter->atEnd());
            const uint64_t idx = iter->getIdx();
            // The walk over a map has no indices: its members are never in a range.
            if (idx == ~uint64_t(0)) break;
            retVal = (fFirst <= idx && idx <= fLast) != fInverted;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace Qfn
