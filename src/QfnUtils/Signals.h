#pragma once

namespace Qfn::Signals {

// SIGINT and SIGTERM ask for a graceful stop; a second SIGINT while stopping ends the process at
// once. SIGPIPE is ignored. With ignoreInterrupt, SIGINT is ignored altogether. A hang-up, a quit
// key and the crash signals give the terminal its modes back and then act as they would have.
void install(bool ignoreInterrupt);
// True once for each stop request that arrived since the last call.
bool takeTerminateRequest();
// Marks that the stop is under way, so that a further SIGINT exits immediately.
void noteTerminating();
// While a line is being typed at the prompt, SIGINT cancels that line instead of asking for a stop.
void setInterruptCancelsInput(bool cancels);
// True once for each SIGINT that cancelled the line being typed.
bool takeInputInterrupt();

}  // namespace Qfn::Signals
