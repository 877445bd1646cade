#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace QfnTest {

// What a script left when run with evaluation at once switched on or off: whether it parsed and
// ended within its budget, its value's text, its scope's text, what it wrote with output() and the
// number of errors logged.
struct BothWaysOutcome {
    bool parsed = false;
    bool completed = false;
    std::string value;
    std::string scope;
    std::string output;
    size_t errors = 0;

    bool sameAs(const BothWaysOutcome& other) const;
    std::string describe() const;
};

// Parses and runs the script with evaluation at once on or off, to completion or, given a slice
// count, within that budget (see runScriptBounded); evaluation at once is on again afterwards.
BothWaysOutcome runWithAtOnce(bool atOnce, const std::string& script, int slices = -1,
                              int64_t sliceMicroseconds = 0);

}  // namespace QfnTest
