#pragma once

#include <string>

namespace Qfn {

// The gateway's TCP side. Until the listener threads exist these succeed without opening anything.
bool startListener();
bool replenishListenerThreads(int serverDefinitionIdx);
void readMessage(const std::string& host, const std::string& message);

}  // namespace Qfn
