#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Qfn {

// Keeps a burst of repeated log lines from flooding the log: a failure deep in a recursion is
// reported again by every level on the way out, in the same few lines. Of the lines among the
// last few different ones seen, each is let through twice; the rest are counted, and the count
// is told before the next line that is new.
class RepeatFilter {
public:
    // Whether the line (its text after the time stamp) is to be written.
    bool admit(std::string_view body);
    // How many lines were held back since the last summary, with the tag of the first of them
    // ("ERROR", "WARN "...); zero when none were.
    size_t takeHeldBack(std::string& tag);

    static constexpr size_t kWindow = 8;
    static constexpr unsigned kShown = 2;

private:
    struct Seen {
        std::string body;
        unsigned count = 0;
    };
    Seen fSeen[kWindow];
    size_t fNext = 0;
    size_t fHeldBack = 0;
    std::string fHeldTag;
};

}  // namespace Qfn
