#pragma once

namespace Qfn::Signals {

// SIGINT and SIGTERM ask for a graceful stop; a second SIGINT while stopping ends the process at
// once. SIGPIPE is ignored. With ignoreInterrupt, SIGINT is ignored altogether.
void install(bool ignoreInterrupt);
// True once for each stop request that arrived since the last call.
bool takeTerminateRequest();
// Marks that the stop is under way, so that a further SIGINT exits immediately.
void noteTerminating();

}  // namespace Qfn::Signals
