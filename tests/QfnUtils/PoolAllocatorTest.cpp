#include "QfnUtils/PoolAllocator.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

struct Block {
    char bytes[48];
};

using Pool = Qfn::PoolAllocator<Block>;

}  // namespace

TEST(PoolAllocator, AFreedBlockIsHandedOutAgainAndAFloodIsNotKeptWhole)
{
    Pool pool;
    const size_t before = Pool::getKeptBlockCount();
    Block* first = pool.allocate(1);
    pool.deallocate(first, 1);
    EXPECT_EQ(Pool::getKeptBlockCount(), before + 1);
    EXPECT_EQ(pool.allocate(1), first);
    pool.deallocate(first, 1);

    // Arrays of several go straight back to the general allocator.
    Block* several = pool.allocate(3);
    pool.deallocate(several, 3);
    EXPECT_EQ(Pool::getKeptBlockCount(), before + 1);

    std::vector<Block*> flood;
    for (size_t i = 0; i < Pool::kMaxKeptBlocks + 100; ++i)
        flood.push_back(pool.allocate(1));
    for (Block* block : flood)
        pool.deallocate(block, 1);
    EXPECT_EQ(Pool::getKeptBlockCount(), Pool::kMaxKeptBlocks);
}
