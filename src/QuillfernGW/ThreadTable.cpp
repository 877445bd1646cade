#include "QuillfernGW/ThreadTable.h"

#include "QfnLogger/Check.h"

namespace Qfn {

ThreadTable::ThreadTable(uint64_t tableSize)
    : fTableSize(tableSize), fThreads(tableSize), fSlotIsOccupiedTable(tableSize, false)
{
}

ThreadTable::~ThreadTable()
{
    // A handle still here belongs to a thread that never got to release its slot: it is let go
    // rather than destroyed joinable.
    for (std::thread& thread : fThreads) {
        if (thread.joinable()) thread.detach();
    }
}

bool ThreadTable::occupySlot(uint64_t threadIdx)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(threadIdx < fTableSize);
            std::lock_guard<std::mutex> lock(fMutex);
            if (fSlotIsOccupiedTable[threadIdx]) break;
            fSlotIsOccupiedTable[threadIdx] = true;
            ++fOccupiedCount;
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool ThreadTable::setThreadIntoSlot(std::thread& thread, uint64_t threadIdx)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(threadIdx < fTableSize);
            std::lock_guard<std::mutex> lock(fMutex);
            // A thread that has handled its connection already and let its slot go is let go here.
            if (!fSlotIsOccupiedTable[threadIdx]) {
                if (thread.joinable()) thread.detach();
                retVal = true;
                break;
            }
            if (fThreads[threadIdx].joinable()) fThreads[threadIdx].detach();
            fThreads[threadIdx] = std::move(thread);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool ThreadTable::releaseSlot(uint64_t threadIdx)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(threadIdx < fTableSize);
            std::lock_guard<std::mutex> lock(fMutex);
            SANITY_CHECK(fSlotIsOccupiedTable[threadIdx]);
            fSlotIsOccupiedTable[threadIdx] = false;
            --fOccupiedCount;
            if (fThreads[threadIdx].joinable()) fThreads[threadIdx].detach();
            if (fOccupiedCount == 0) fEmptied.notify_all();
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

uint64_t ThreadTable::getOccupiedCount() const
{
    std::lock_guard<std::mutex> lock(fMutex);
    return fOccupiedCount;
}

bool ThreadTable::waitUntilEmpty(std::chrono::milliseconds timeout)
{
    std::unique_lock<std::mutex> lock(fMutex);
    return fEmptied.wait_for(lock, timeout, [&] { return fOccupiedCount == 0; });
}

}  // namespace Qfn
