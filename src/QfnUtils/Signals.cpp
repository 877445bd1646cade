#include "QfnUtils/Signals.h"

#include "QfnUtils/Console.h"

#include <csignal>
#include <unistd.h>

#include <atomic>

namespace Qfn::Signals {

namespace {

std::atomic<bool> gTerminateRequested{false};
std::atomic<bool> gTerminating{false};

extern "C" void handleStopSignal(int signalNumber)
{
    if (signalNumber == SIGINT && (gTerminating.load() || gTerminateRequested.load())) {
        // Leaving at once skips the exit handlers: give the terminal its modes back here.
        Console::restoreTerminal();
        _exit(0);
    }
    gTerminateRequested.store(true);
}

}  // namespace

void install(bool ignoreInterrupt)
{
    struct sigaction action {};
    action.sa_handler = handleStopSignal;
    sigemptyset(&action.sa_mask);
    sigaction(SIGTERM, &action, nullptr);
    if (ignoreInterrupt) {
        std::signal(SIGINT, SIG_IGN);
    } else {
        sigaction(SIGINT, &action, nullptr);
    }
    std::signal(SIGPIPE, SIG_IGN);
}

bool takeTerminateRequest() { return gTerminateRequested.exchange(false); }

void noteTerminating() { gTerminating.store(true); }

}  // namespace Qfn::Signals
