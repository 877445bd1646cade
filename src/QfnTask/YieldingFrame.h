#pragma once

#include <memory>
#include <stdexcept>
#include <vector>

#include "QfnTask/OMFunctionState.h"
#include "QfnTask/Task.h"

namespace Qfn {

inline constexpr unsigned kFinished = OMFunctionState::kFinished;

// How many resumable frames one task may stack up; each costs the thread's stack while it runs.
inline constexpr size_t kMaxNestedFrames = 2400;

// The state that goes on after the nested call made in STATE has finished.
constexpr unsigned resumeAfter(unsigned state)
{
    return 1000000u + state;
}

// Keeps the storage of finished frames for the next call of the same function: a call that does
// not suspend then costs no trip to the general allocator. A list holds at most as many blocks as
// were ever live at once.
template <class T>
class FramePoolAllocator {
public:
    using value_type = T;

    FramePoolAllocator() = default;
    template <class U>
    FramePoolAllocator(const FramePoolAllocator<U>&) noexcept
    {
    }

    T* allocate(size_t count)
    {
        std::vector<void*>& freeBlocks = blocks();
        if (count == 1 && !freeBlocks.empty()) {
            void* block = freeBlocks.back();
            freeBlocks.pop_back();
            return static_cast<T*>(block);
        }
        return static_cast<T*>(::operator new(count * sizeof(T)));
    }

    void deallocate(T* pointer, size_t count) noexcept
    {
        if (count == 1) {
            try {
                blocks().push_back(pointer);
                return;
            } catch (std::exception&) {
                // No room to keep the block: give it back instead.
            }
        }
        ::operator delete(pointer);
    }

    template <class U>
    bool operator==(const FramePoolAllocator<U>&) const noexcept
    {
        return true;
    }

private:
    // Frames run on the coordinator thread only. The list is never destroyed, so that a task
    // released during static tear-down still has somewhere to put its frames.
    static std::vector<void*>& blocks()
    {
        static std::vector<void*>* freeBlocks = new std::vector<void*>();
        return *freeBlocks;
    }
};

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
            if (fTask.getFunctionStateCount() >= kMaxNestedFrames)
                throw std::runtime_error("resumable calls nested too deep");
            auto fresh = std::allocate_shared<Locals>(FramePoolAllocator<Locals>());
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
