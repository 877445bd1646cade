#include "QuillfernGW/Listener.h"

#include "QuillfernGW/ServerDefinition.h"

namespace Qfn {

std::vector<ServerDefinition> gServerDefinitionVector;

bool startListener() { return true; }

bool replenishListenerThreads(int) { return true; }

void readMessage(const std::string&, const std::string&) {}

}  // namespace Qfn
