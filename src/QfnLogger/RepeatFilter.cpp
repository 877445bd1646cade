#include "QfnLogger/RepeatFilter.h"

namespace Qfn {

bool RepeatFilter::admit(std::string_view body)
{
    for (Seen& seen : fSeen) {
        if (seen.count == 0 || seen.body != body) continue;
        if (seen.count < kShown) {
            ++seen.count;
            return true;
        }
        if (fHeldBack++ == 0) fHeldTag.assign(body.substr(0, body.find(':')));
        return false;
    }
    Seen& slot = fSeen[fNext];
    fNext = (fNext + 1) % kWindow;
    slot.body.assign(body);
    slot.count = 1;
    return true;
}

size_t RepeatFilter::takeHeldBack(std::string& tag)
{
    const size_t heldBack = fHeldBack;
    fHeldBack = 0;
    tag = fHeldTag;
    return heldBack;
}

}  // namespace Qfn
