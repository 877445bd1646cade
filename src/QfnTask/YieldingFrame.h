#pragma once

#include <memory>
#include <stdexcept>

#include "QfnTask/OMFunctionState.h"
#include "QfnTask/Task.h"

namespace Qfn {

inline constexpr unsigned kFinished = OMFunctionState::kFinished;

// The state that goes on after the nested call made in STATE has finished.
constexpr unsigned resumeAfter(unsigned state) { return 1000000u + state; }

// The record of a resumable call on its task: found again on resumption, made on first entry.
// Locals is the function's own LocalVariableState; its default member initialisers run once.
template <class Locals>
class YieldingFrame {
public:
    explicit YieldingFrame(const std::shared_ptr<Task>& task) : fTask(*task)
    {
        std::shared_ptr<OMFunctionState> record = fTask.getLockedFunctionState();
        if (!record) {
            auto fresh = std::make_shared<Locals>();
            fLocals = fresh.get();
            fIsFirstEntry = true;
            fTask.lockFunctionState(std::move(fresh));
            return;
        }
        fLocals = dynamic_cast<Locals*>(record.get());
        // A caller must re-enter exactly the callee it left; anything else is a fault of the call order.
        if (!fLocals) throw std::logic_error("resumed a frame of another function");
    }

    bool isFirstEntry() const { return fIsFirstEntry; }
    Locals& operator*() const { return *fLocals; }
    Locals* operator->() const { return fLocals; }

    // Asked after every state, the finishing one too, so that a spent budget ends the slice there.
    bool keepGoing() const { return !fTask.isTryingToYield() && fLocals->fState != kFinished; }

    bool release() const { return fTask.releaseFunctionState(fLocals); }

private:
    Task& fTask;
    Locals* fLocals = nullptr;
    bool fIsFirstEntry = false;
};

}  // namespace Qfn

// A state that makes one nested resumable call; it stays in STATE until the callee has finished.
#define YIELDING_CALL(STATE, CALL)                                                  \
    case STATE:                                                                     \
        CALL;                                                                       \
        if (!task->areNestedFunctionStatesActive()) s.fState = ::Qfn::resumeAfter(STATE); \
        break
