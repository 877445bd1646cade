#pragma once

#include <string>
#include <vector>

#include "support/BothWaysRun.h"

namespace QfnTest {

// Runs every script both ways and expects the same outcome; returns the values (at once).
std::vector<std::string> expectSameBothWays(const std::vector<std::string>& scripts);

}  // namespace QfnTest
