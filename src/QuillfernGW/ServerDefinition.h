#pragma once

#include <vector>

namespace Qfn {

// One address the gateway listens on. The TCP listeners are not built yet, so the table is empty.
struct ServerDefinition {};

extern std::vector<ServerDefinition> gServerDefinitionVector;

}  // namespace Qfn
