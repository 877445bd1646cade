#pragma once

#include <cstddef>
#include <exception>
#include <new>
#include <vector>

#include "QfnUtils/ThreadEnd.h"

namespace Qfn {

// Keeps the storage of freed objects of one type for the next one: objects made and dropped all
// the time (frames, value nodes, scopes) then cost no trip to the general allocator. A list holds
// at most as many blocks as were ever live at once, and never more than kMaxKeptBlocks: a burst
// of millions of nodes gives its memory back when they go.
template <class T>
class PoolAllocator {
public:
    using value_type = T;

    PoolAllocator() = default;
    template <class U>
    PoolAllocator(const PoolAllocator<U>&) noexcept
    {
    }

    T* allocate(size_t count)
    {
        std::vector<void*>* freeBlocks = blocks();
        if (count == 1 && freeBlocks && !freeBlocks->empty()) {
            void* block = freeBlocks->back();
            freeBlocks->pop_back();
            return static_cast<T*>(block);
        }
        return static_cast<T*>(::operator new(count * sizeof(T)));
    }

    static constexpr size_t kMaxKeptBlocks = 16384;

    void deallocate(T* pointer, size_t count) noexcept
    {
        std::vector<void*>* freeBlocks = blocks();
        if (count == 1 && freeBlocks && freeBlocks->size() < kMaxKeptBlocks) {
            try {
                freeBlocks->push_back(pointer);
                return;
            } catch (std::exception&) {
                // No room to keep the block: give it back instead.
            }
        }
        ::operator delete(pointer);
    }

    // How many freed blocks wait for reuse on this thread.
    static size_t getKeptBlockCount() { return blocks() ? blocks()->size() : 0; }

    template <class U>
    bool operator==(const PoolAllocator<U>&) const noexcept
    {
        return true;
    }

private:
    // One list per thread. The main thread's is never destroyed, so that an object released during
    // static tear-down still has somewhere to put its block; another thread's gives its blocks back
    // when the thread ends (the coordinator's own thread among them), and is null from then on.
    struct FreeList {
        std::vector<void*>* blocks = new std::vector<void*>();
        ~FreeList()
        {
            if (ThreadEnd::isMainThread()) return;
            for (void* block : *blocks)
                ::operator delete(block);
            delete blocks;
            blocks = nullptr;
        }
    };
    static std::vector<void*>* blocks()
    {
        thread_local FreeList freeList;
        return freeList.blocks;
    }
};

}  // namespace Qfn
