#include "libs/base/memoryblock.h"

#include <gtest/gtest.h>

#include <cstring>
#include <utility>

#include "libs/base/memoryblockpool.h"
#include "tests/base/allocationcounter.h"

namespace tessel {

namespace {

using Row = std::pair<unsigned, unsigned>;
using Block = gc::Pointer<MemoryBlock>;

}  // namespace

TEST(MemoryBlockPool, roundsUpToItsClasses) {
    for (const auto& [size, capacity] : {Row{1, 64}, {64, 64}, {65, 128}, {8191, 8192}, {8193, 8256}, {9000, 9024}}) {
        const Block block = memoryBlockPool.create(size);
        EXPECT_EQ(block->capacity(), capacity) << size;
    }
}

TEST(MemoryBlockPool, keepsTheLastReleasedBlockOfEachClassUpTo8KiB) {
    for (const auto& [size, made] : {Row{64, 0}, {1000, 0}, {8192, 0}, {8193, 1}, {9000, 1}}) {
        Block older = memoryBlockPool.create(size);
        Block newer = memoryBlockPool.create(size);
        const MemoryBlock* released = newer.get();
        older.clear();
        newer.clear();
        const test::AllocationCounter allocations;
        const Block first = memoryBlockPool.create(size);
        EXPECT_EQ(allocations.count(), made) << size;
        EXPECT_TRUE(made != 0 || first.get() == released) << size;
        EXPECT_EQ(first->gcRef(), 1) << size;
        const Block second = memoryBlockPool.create(size);
        EXPECT_EQ(allocations.count(), made + 1) << "only one block is kept for " << size;
    }
}

TEST(MemoryBlockPool, abortsForSizesThatItCannotGive) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(memoryBlockPool.create(0), "libs/base/memoryblockpool:[0-9]+: assertion failed: upperSize");
    EXPECT_DEATH(memoryBlockPool.create(static_cast<unsigned>(-1)), "assertion failed: upperSize");
}

TEST(MemoryBlock, growsOnlyAndKeepsItsBytes) {
    const Block block = memoryBlockPool.create(64);
    std::memcpy(block->data(), "bytes", 6);
    for (const auto& [asked, capacity] : {Row{10, 64}, {65, 128}, {5000, 5056}, {100, 5056}, {5057, 5120}}) {
        block->resize(asked);
        EXPECT_EQ(block->capacity(), capacity) << asked;
        EXPECT_STREQ(block->data(), "bytes") << asked;
    }
}

}  // namespace tessel
