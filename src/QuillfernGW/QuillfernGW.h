#pragma once

namespace Qfn {

// The process: initialise the coordinator, serve until told to stop, tear down in a fixed order.
// Returns 0 on every path; failures show in the log.
int main(int argc, char** argv);

// Repeats the event loop and the gateway's housekeeping until the coordinator is terminating and idle.
bool serverLoop();

}  // namespace Qfn
