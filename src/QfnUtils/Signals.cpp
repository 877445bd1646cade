#include "QfnUtils/Signals.h"

#include <unistd.h>

#include <atomic>
#include <csignal>
#include <iterator>

#include "QfnUtils/Console.h"

namespace Qfn::Signals {

namespace {

std::atomic<bool> gTerminateRequested{false};
std::atomic<bool> gTerminating{false};
std::atomic<bool> gInterruptCancelsInput{false};
std::atomic<bool> gInputInterrupted{false};

// Signals that end the process without its exit handlers; the first four are faults of the
// instruction that raised them.
constexpr int kEndingSignals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGQUIT, SIGHUP};
constexpr size_t kFaultCount = 4;
struct sigaction gPreviousActions[std::size(kEndingSignals)];

extern "C" void handleStopSignal(int signalNumber)
{
    if (signalNumber == SIGINT && (gTerminating.load() || gTerminateRequested.load())) {
        // Leaving at once skips the exit handlers: give the terminal its modes back here.
        Console::restoreTerminal();
        _exit(0);
    }
    if (signalNumber == SIGINT && gInterruptCancelsInput.load()) {
        gInputInterrupted.store(true);
        return;
    }
    gTerminateRequested.store(true);
}

// The terminal first, then the handler that was there before: a fault returns and happens again
// into it, any other signal is raised again.
extern "C" void handleEndingSignal(int signalNumber, siginfo_t* info, void*)
{
    Console::restoreTerminal();
    for (size_t i = 0; i < std::size(kEndingSignals); ++i) {
        if (kEndingSignals[i] != signalNumber) continue;
        sigaction(signalNumber, &gPreviousActions[i], nullptr);
        if (i >= kFaultCount || info == nullptr || info->si_code <= 0) raise(signalNumber);
    }
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

    struct sigaction ending {};
    ending.sa_sigaction = handleEndingSignal;
    ending.sa_flags = SA_SIGINFO | SA_ONSTACK;
    sigemptyset(&ending.sa_mask);
    for (size_t i = 0; i < std::size(kEndingSignals); ++i) {
        sigaction(kEndingSignals[i], nullptr, &gPreviousActions[i]);
        // A signal ignored from the start (nohup) stays ignored.
        if (gPreviousActions[i].sa_handler == SIG_IGN) continue;
        sigaction(kEndingSignals[i], &ending, nullptr);
    }
}

bool takeTerminateRequest()
{
    return gTerminateRequested.exchange(false);
}

void noteTerminating()
{
    gTerminating.store(true);
}

void setInterruptCancelsInput(bool cancels)
{
    gInputInterrupted.store(false);
    gInterruptCancelsInput.store(cancels);
}

bool takeInputInterrupt()
{
    return gInputInterrupted.exchange(false);
}

}  // namespace Qfn::Signals
