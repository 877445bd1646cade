// The accept threads' slots: each taken once, freed by its own thread, and waited for at the end.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "QuillfernGW/ThreadTable.h"
#include "support/LogCapture.h"

using namespace std::chrono_literals;
using Qfn::ThreadTable;

TEST(ThreadTable, ASlotIsTakenOnceAndOutOfRangeIsRefused)
{
    ThreadTable table(3);
    EXPECT_TRUE(table.occupySlot(1));
    EXPECT_FALSE(table.occupySlot(1));
    EXPECT_EQ(table.getOccupiedCount(), 1u);
    EXPECT_TRUE(QfnTest::logsError("SANITY_CHECK failed: 'threadIdx < fTableSize' evaluates to false",
                                   [&] { EXPECT_FALSE(table.occupySlot(3)); }));
    EXPECT_TRUE(QfnTest::logsError("SANITY_CHECK failed: 'fSlotIsOccupiedTable[threadIdx]' evaluates to false",
                                   [&] { EXPECT_FALSE(table.releaseSlot(0)); }));
    EXPECT_TRUE(table.releaseSlot(1));
    EXPECT_EQ(table.getOccupiedCount(), 0u);
    EXPECT_TRUE(table.occupySlot(1)) << "a freed slot is taken again";
    EXPECT_TRUE(table.releaseSlot(1));
}

TEST(ThreadTable, ThreadsFreeTheirSlotsAndTheLastIsWaitedFor)
{
    ThreadTable table(10);
    std::atomic<bool> go{false};
    for (uint64_t slot = 0; slot < table.getTableSize(); ++slot) {
        ASSERT_TRUE(table.occupySlot(slot));
        std::thread thread([&table, &go, slot] {
            while (!go) std::this_thread::yield();
            table.releaseSlot(slot);
        });
        ASSERT_TRUE(table.setThreadIntoSlot(thread, slot));
        EXPECT_FALSE(thread.joinable()) << "the handle moved into the table";
    }
    EXPECT_EQ(table.getOccupiedCount(), 10u);
    EXPECT_FALSE(table.waitUntilEmpty(10ms));
    go = true;
    EXPECT_TRUE(table.waitUntilEmpty(10s));
    EXPECT_EQ(table.getOccupiedCount(), 0u);

    // A thread that is done before its handle is stored leaves a free slot and a let-go handle.
    ASSERT_TRUE(table.occupySlot(4));
    std::thread quick([&table] { table.releaseSlot(4); });
    ASSERT_TRUE(table.waitUntilEmpty(10s));
    EXPECT_TRUE(table.setThreadIntoSlot(quick, 4));
    EXPECT_FALSE(quick.joinable());
}
