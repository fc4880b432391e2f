// SPDX-License-Identifier: Apache-2.0
#include "libs/base/memory.h"

#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <cstring>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "libs/base/base64.h"
#include "libs/base/memoryblockpool.h"
#include "tests/base/allocationcounter.h"

namespace tessel {

using Block = gc::Pointer<MemoryBlock>;

TEST(Memory, sharesUntilItChanges) {
    const Memory original = String::copy("0123");
    Memory changed = original;
    changed.setAt(0, 'x');
    changed.append('4').append(2, '5').append(String("6")).append(changed);
    EXPECT_EQ(changed.view(), "x1234556x1234556");
    EXPECT_EQ(original.view(), "0123");
    Memory grown = original.clone();
    EXPECT_NE(grown.array(), original.array());
    grown.resize(6);
    EXPECT_EQ(grown, Memory(String("0123\0\0", 6)));
    grown.resize(2);
    EXPECT_EQ((grown + original + Memory()).view(), "010123");
    EXPECT_EQ(Memory(String("a") + "b").view(), "ab");
}

TEST(Base64, encodesEveryLengthAndDecodesItBack) {
    unsigned seed = 1;
    // The long one holds every pair of characters, most of them on the path of wide instructions.
    for (unsigned length = 0; length < 200'000; length += length < 300 ? 1 : 150'000) {
        // On the heap and of this exact size, so that the address sanitizer sees a read behind it.
        std::vector<char> bytes(length);
        for (char& byte : bytes) {
            seed = seed * 1103515245U + 12345U;
            byte = static_cast<char>(seed >> 16U);
        }
        const std::string_view plain(bytes.data(), length);
        const String text = Base64::encode(bytes.data(), length);
        std::vector<unsigned char> reference(length * 2 + 8);
        const auto* const source = reinterpret_cast<const unsigned char*>(bytes.data());
        const int size = EVP_EncodeBlock(reference.data(), source, static_cast<int>(length));
        ASSERT_EQ(text.view(), std::string(reference.begin(), reference.begin() + size)) << length;
        ASSERT_EQ(text.length(), Base64::sizeEncode(length));
        const std::vector<char> copy(text.begin(), text.end());
        ASSERT_EQ(Base64::decode(copy.data(), text.length()).view(), plain) << length;
    }
}

TEST(Base64, decodesWhateverItGets) {
    const std::pair<std::string, const char*> rows[] = {{"YWI", "ab"},
                                                        {"YQ=", "a"},
                                                        {"YQ", "a"},
                                                        {"YR==", "a"},
                                                        {"Y", ""},
                                                        {"", ""},
                                                        {"====", ""},
                                                        {"!!!!!", ""},
                                                        {"YW\r\nJj\n", "abc"},
                                                        {"YWJj\n\nYWJj", "abcabc"},
                                                        {"Y-W_J\x80j", "abc"},
                                                        {"YQ==YWJj", "a"}};
    for (const auto& [text, expected] : rows) {
        const std::vector<char> exact(text.begin(), text.end());
        const auto length = static_cast<unsigned>(text.size());
        EXPECT_EQ(Base64::decode(exact.data(), length).view(), expected) << text;
        EXPECT_LE(std::strlen(expected), Base64::sizeDecode(length)) << text;
    }
    EXPECT_EQ(Base64::decode(Memory(String("Y\0WJj", 5))).view(), "abc");
}

TEST(MemoryBlockPool, roundsUpAndKeepsTheLastReleasedBlocksOfEachClassUpTo8KiB) {
    const std::tuple<unsigned, unsigned, unsigned> rows[] = {{1, 64, 0},      {64, 64, 0},     {65, 128, 0},
                                                             {1024, 1024, 0}, {1025, 1088, 0}, {8191, 8192, 0},
                                                             {8192, 8192, 0}, {8193, 8256, 1}, {9000, 9024, 1}};
    for (const auto& [size, capacity, made] : rows) {
        Block oldest = memoryBlockPool.create(size);
        Block older = memoryBlockPool.create(size);
        Block newest = memoryBlockPool.create(size);
        EXPECT_EQ(newest->capacity(), capacity) << size;
        const MemoryBlock* released[] = {newest.get(), older.get()};
        for (Block* block : {&oldest, &older, &newest}) {
            block->clear();
        }
        const unsigned long before = test::allocations();
        const Block again[] = {memoryBlockPool.create(size), memoryBlockPool.create(size)};
        EXPECT_EQ(test::allocations() - before, 2 * made) << size;
        EXPECT_TRUE(made != 0 || (again[0].get() == released[0] && again[1].get() == released[1])) << size;
        EXPECT_EQ(again[0]->gcRef(), 1) << size;
        const Block third = memoryBlockPool.create(size);
        EXPECT_EQ(test::allocations() - before, 2 * made + 1) << "one for the thread and one for all, of " << size;
    }
}

TEST(MemoryBlockPool, whatAThreadReleasesServesOthersWhenItHasEnded) {
    for (const bool late : {false, true}) {
        const Block kept[] = {memoryBlockPool.create(700), memoryBlockPool.create(700)};
        Block passed = memoryBlockPool.create(700);
        const MemoryBlock* const block = passed.get();
        std::thread([&] {
            // Made first, so that it outlives what the thread keeps for itself.
            thread_local Block last;
            last = memoryBlockPool.create(64);
            last = std::move(passed);
            if (!late) {
                last.clear();
            }
        }).join();
        EXPECT_EQ(Block(memoryBlockPool.create(700)).get(), block) << late;
    }
}

TEST(MemoryBlockPool, abortsForSizesThatItCannotGive) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(memoryBlockPool.create(0), "libs/base/memoryblockpool:[0-9]+: assertion failed: upperSize");
}

}  // namespace tessel
