#include "libs/base/memoryblock.h"

#include <gtest/gtest.h>

#include <cstring>

#include "libs/base/memoryblockpool.h"
#include "tests/base/allocationcounter.h"

namespace tessel {

namespace {

constexpr unsigned kMax = static_cast<unsigned>(-1);

using Block = gc::Pointer<MemoryBlock>;

}  // namespace

TEST(MemoryBlockPool, roundsUpToItsClasses) {
    struct Case {
        unsigned size;
        unsigned capacity;
    };
    for (const Case& c : {Case{1, 64}, {64, 64}, {65, 128}, {8128, 8128}, {8191, 8192}, {8193, 8256}, {9000, 9024}}) {
        const Block block = memoryBlockPool.create(c.size);
        EXPECT_EQ(block->capacity(), c.capacity) << c.size;
    }
}

TEST(MemoryBlockPool, keepsTheLastReleasedBlockOfEachClassUpTo8KiB) {
    struct Case {
        unsigned size;
        bool kept;
    };
    for (const Case& c : {Case{64, true}, {1000, true}, {8192, true}, {8193, false}, {9000, false}}) {
        Block older = memoryBlockPool.create(c.size);
        Block newer = memoryBlockPool.create(c.size);
        const MemoryBlock* released = newer.get();
        older.clear();
        newer.clear();
        const test::AllocationCounter allocations;
        const Block first = memoryBlockPool.create(c.size);
        EXPECT_EQ(allocations.count(), c.kept ? 0U : 1U) << c.size;
        if (c.kept) {
            EXPECT_EQ(first.get(), released) << c.size;
            EXPECT_EQ(first->gcRef(), 1) << c.size;
        }
        const Block second = memoryBlockPool.create(c.size);
        EXPECT_EQ(allocations.count(), c.kept ? 1U : 2U) << "only one block is kept for " << c.size;
    }
}

TEST(MemoryBlockPool, abortsForSizesThatItCannotGive) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(memoryBlockPool.create(0), "libs/base/memoryblockpool:[0-9]+: assertion failed: upperSize");
    EXPECT_DEATH(memoryBlockPool.create(kMax), "assertion failed: upperSize");
}

TEST(MemoryBlock, growsOnlyAndKeepsItsBytes) {
    const Block block = memoryBlockPool.create(64);
    EXPECT_STREQ(block->getClassName(), "MemoryBlock");
    std::memcpy(block->data(), "bytes", 6);
    struct Case {
        unsigned asked;
        unsigned capacity;
    };
    for (const Case& c : {Case{10, 64}, {65, 128}, {5000, 5056}, {100, 5056}, {5057, 5120}}) {
        block->resize(c.asked);
        EXPECT_EQ(block->capacity(), c.capacity) << c.asked;
        EXPECT_STREQ(block->data(), "bytes") << c.asked;
    }
}

}  // namespace tessel
