#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

namespace Qfn {

// The accept threads of one listening socket, slot by slot. A slot is occupied from the moment its
// thread is started until that thread has handled its connection; the thread then lets the slot go
// and ends by itself, so the table counts the threads still running and can wait for the last.
class ThreadTable {
public:
    explicit ThreadTable(uint64_t tableSize = 10);
    ~ThreadTable();
    ThreadTable(const ThreadTable&) = delete;
    ThreadTable& operator=(const ThreadTable&) = delete;

    // False when the slot is taken (or out of range, with a check line).
    bool occupySlot(uint64_t threadIdx);
    // The thread's handle moves into the occupied slot.
    bool setThreadIntoSlot(std::thread& thread, uint64_t threadIdx);
    // Called by the slot's own thread as it ends: frees the slot and detaches the handle.
    bool releaseSlot(uint64_t threadIdx);
    uint64_t getTableSize() const { return fTableSize; }
    uint64_t getOccupiedCount() const;
    // Waits until no slot is occupied any more; false when the time ran out first.
    bool waitUntilEmpty(std::chrono::milliseconds timeout);

private:
    const uint64_t fTableSize;
    std::vector<std::thread> fThreads;
    std::vector<bool> fSlotIsOccupiedTable;
    uint64_t fOccupiedCount = 0;
    mutable std::mutex fMutex;
    std::condition_variable fEmptied;
};

}  // namespace Qfn
