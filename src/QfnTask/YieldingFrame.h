#pragma once

#include <memory>
#include <stdexcept>
#include <vector>

#include "QfnTask/OMFunctionState.h"
#include "QfnTask/Task.h"
#include "QfnUtils/PoolAllocator.h"
#include "QfnUtils/StackRoom.h"

namespace Qfn {

inline constexpr unsigned kFinished = OMFunctionState::kFinished;

// The state that goes on after the nested call made in STATE has finished.
constexpr unsigned resumeAfter(unsigned state)
{
    return 1000000u + state;
}

// The record of a resumable call on its task: found again on resumption, made on first entry.
// Locals is the function's own LocalVariableState; its default member initialisers run once.
template <class Locals>
class YieldingFrame {
public:
    explicit YieldingFrame(const std::shared_ptr<Task>& task) : fTask(*task)
    {
        OMFunctionState* record = fTask.lockNextFunctionState();
        if (!record) {
            // Deep recursion in a script or deeply nested text must fail, not exhaust the stack.
            if (!StackRoom::isLeft()) throw std::runtime_error("resumable calls nested too deep");
            auto fresh = std::allocate_shared<Locals>(PoolAllocator<Locals>());
            fLocals = fresh.get();
            fIsFirstEntry = true;
            fTask.lockFunctionState(std::move(fresh));
            return;
        }
        fLocals = dynamic_cast<Locals*>(record);
        // A caller must re-enter exactly the callee it left; anything else is a fault of the call order.
        if (!fLocals) throw std::logic_error("resumed a frame of another function");
    }

    bool isFirstEntry() const { return fIsFirstEntry; }
    Locals& operator*() const { return *fLocals; }
    Locals* operator->() const { return fLocals; }

    // Asked after every state, the finishing one too, so that a spent budget ends the slice there.
    // (The inline form of isTryingToYield, which no task overrides.)
    bool keepGoing() const { return !fTask.isSliceOver() && fLocals->fState != kFinished; }

    bool release() const { return fTask.releaseFunctionState(fLocals); }

private:
    Task& fTask;
    Locals* fLocals = nullptr;
    bool fIsFirstEntry = false;
};

}  // namespace Qfn

// A state that makes one nested resumable call; it stays in STATE until the callee has finished.
#define YIELDING_CALL(STATE, CALL)                                                        \
    case STATE:                                                                           \
        CALL;                                                                             \
        if (!task->areNestedFunctionStatesActive()) s.fState = ::Qfn::resumeAfter(STATE); \
        break
