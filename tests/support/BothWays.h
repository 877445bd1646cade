#pragma once

#include <string>
#include <vector>

namespace QfnTest {

// What a script left when run with evaluation at once switched on or off: its value's text, its
// scope's text and the number of errors logged.
struct BothWaysOutcome {
    std::string value;
    std::string scope;
    size_t errors = 0;
};

BothWaysOutcome runWithAtOnce(bool atOnce, const std::string& script);

// Runs every script both ways and expects the same outcome; returns the values (at once).
std::vector<std::string> expectSameBothWays(const std::vector<std::string>& scripts);

}  // namespace QfnTest
