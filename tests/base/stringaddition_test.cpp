#include "libs/base/stringaddition.h"

#include <gtest/gtest.h>

#include <memory>
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
    const std::vector<String> joined{
        s + s,
        s + "c",
        "c" + s,
        s + kept,
        kept + s,
        kept + "c",
        "c" + kept,
        kept + kept,
        s + (s + "c"),
        ("c" + s) + s,
        String("t") + s,
        "c" + String("t"),
        s + String("t"),
        kept + String("t"),
        String("t") + kept,
        kept + (kept + s),
        String("t") + "c",
        String("t") + String("u"),
    };
    const std::vector<const char*> expected{"ss",  "sc", "cs", "ssk", "sks", "skc", "csk",   "sksk", "ssc",
                                            "css", "ts", "ct", "st",  "skt", "tsk", "sksks", "tc",   "tu"};
    ASSERT_EQ(joined.size(), expected.size());
    for (std::size_t i = 0; i < joined.size(); ++i) {
        EXPECT_STREQ(joined[i].str(), expected[i]) << i;
    }
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
    const String joined = counted + "2" + counted + "4" + counted + "6" + counted + "8" + counted + "10" + counted +
                          "12" + counted + "14" + counted + "16" + counted + "18" + counted + "20";
    EXPECT_EQ(allocations.count(), 1U) << "building the chain takes nothing from the heap either";
}

TEST(StringAddition, staysValidWhenItsPartsAreGone) {
    auto part = std::make_unique<String>(String::copy("a counted part"));
    StringAddition kept = *part + ", " + String::copy("a temporary one") + "";
    *part = "something else";
    part.reset();
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
    EXPECT_EQ(String(original).view(), expected);
    EXPECT_EQ(String(assigned).view(), expected);
    EXPECT_EQ(String(moved).view(), expected + "!");
    EXPECT_EQ(copy.length(), 0U);  // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(String(copy.add("again").add(moved)).view(), "again" + expected + "!");
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

TEST(StringAddition, takesTemporariesOverInsteadOfCountingThem) {
    String part = String::copy("text");
    const MemoryBlock* block = part.block().get();
    const StringAddition kept = std::move(part) + "";
    EXPECT_EQ(block->gcRef(), 1);
    EXPECT_EQ(String(kept), "text");
}

}  // namespace tessel
