#include "libs/base/stringaddition.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "tests/base/allocationcounter.h"

namespace tessel {

namespace {

/// A chain of so many parts, every second one counted, and what it must become.
StringAddition chain(unsigned parts, const String& counted, std::string& expected) {
    StringAddition addition = counted + "|";
    expected = std::string(counted.view()) + "|";
    for (unsigned i = 2; i < parts; ++i) {
        addition = i % 2 == 0 ? std::move(addition) + counted : std::move(addition) + "|";
        expected += i % 2 == 0 ? std::string(counted.view()) : "|";
    }
    return addition;
}

}  // namespace

TEST(StringAddition, joinsEveryPairing) {
    const String s = String::copy("s");
    const StringAddition kept = s + "k";
    const auto strings = [](const auto&... additions) { return std::vector<String>{String(additions)...}; };
    const std::vector<String> joined =
        strings(s + s, s + "c", "c" + s, s + kept, kept + s, kept + "c", "c" + kept, kept + kept, s + (s + "c"),
                ("c" + s) + s, String("t") + s, "c" + String("t"), s + String("t"), kept + String("t"),
                String("t") + kept, kept + (kept + s), String("t") + "c", String("t") + String("u"));
    const std::vector<String> expected{"ss",  "sc", "cs", "ssk", "sks", "skc", "csk",   "sksk", "ssc",
                                       "css", "ts", "ct", "st",  "skt", "tsk", "sksks", "tc",   "tu"};
    EXPECT_EQ(joined, expected);
    EXPECT_EQ(String(kept), "sk") << "a kept builder stays as it is";
}

TEST(StringAddition, joinsPartsOfEveryLength) {
    const std::string source = "The quick brown fox jumps over the lazy dog and goes on.";
    for (unsigned length = 0; length <= source.size(); ++length) {
        std::string expected;
        const String result = chain(3, String::copy(source.data(), length), expected);
        EXPECT_EQ(result.view(), expected) << length;
    }
}

TEST(StringAddition, costsOneAllocationWhateverItsLength) {
    // Beyond what the pool keeps, so that each result needs a new block.
    const String counted = String::copy(std::string(5000, 'x'));
    for (const unsigned parts : {3U, 8U, 9U, 16U, 17U, 32U, 33U, 100U}) {
        std::string expected;
        { const String warm = chain(parts, "", expected); }
        const StringAddition whole = chain(parts, counted, expected);
        const test::AllocationCounter allocations;
        const String result = whole;
        EXPECT_EQ(allocations.count(), 1U) << parts;
        EXPECT_EQ(result.view(), expected) << parts;
        EXPECT_EQ(whole.length(), expected.size()) << parts;
    }
    const test::AllocationCounter allocations;
    const String joined = counted + "2" + counted + "4" + counted + "6" + counted + "8" + counted + "10" + counted;
    EXPECT_EQ(allocations.count(), 1U) << "building the chain takes nothing from the heap either";
}

TEST(StringAddition, staysValidWhenItsPartsAreGone) {
    String part = String::copy("a counted part");
    const MemoryBlock* block = part.block().get();
    const StringAddition kept = std::move(part) + ", " + String::copy("a temporary one") + "";
    EXPECT_EQ(block->gcRef(), 1) << "a temporary is taken over";
    part = "something else";
    EXPECT_EQ(String(kept), "a counted part, a temporary one");
}

TEST(StringAddition, copiesGoTheirOwnWays) {
    std::string expected;
    const StringAddition original = chain(12, "ab", expected);
    StringAddition copy = original;
    copy.add("!");
    StringAddition assigned = copy + "?";
    assigned = original;
    StringAddition moved = std::move(copy);
    EXPECT_EQ(String(assigned).view(), expected);
    EXPECT_EQ(String(copy.add("again").add(moved)).view(),
              "again" + expected + "!");  // NOLINT(bugprone-use-after-move)
    moved.add(moved);
    EXPECT_EQ(String(moved).view(), expected + "!" + expected + "!");
}

TEST(StringAddition, worksBeyondItsStoreAndAcrossThreads) {
    // More blocks than the store has, made on a thread that ends before they are used.
    std::string expected;
    std::vector<StringAddition> many;
    std::thread([&] {
        for (int i = 0; i < 100; ++i) {
            many.push_back(chain(9, String::copy("part"), expected));
        }
    }).join();
    for (const StringAddition& addition : many) {
        EXPECT_EQ(String(addition).view(), expected);
    }
}

}  // namespace tessel
