#include "libs/base/string.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "libs/base/memory.h"
#include "libs/base/memoryblockpool.h"
#include "tests/base/allocationcounter.h"

namespace tessel {

namespace {

// Globals of this file are made before those of other files may be, and ended after them.
const String g_joined = String::null + "made " + "before main";

struct UsedAtTheEnd {
    ~UsedAtTheEnd() {
        const String text = String("still ") + g_joined + String::null;
        if (!(text == "still made before main") || !String::null.empty()) {
            std::abort();
        }
    }
} g_usedAtTheEnd;

}  // namespace

TEST(String, copiesAndPiecesShareTheBytes) {
    const String text = String::copy("some text of a block");
    const test::AllocationCounter allocations;
    const String copy = text;
    const String part = text.range(5, 9);
    const Memory bytes = text;
    String from = "a literal";
    const String to = std::move(from);
    EXPECT_EQ(allocations.count(), 0U);
    EXPECT_EQ(copy.array(), text.array());
    EXPECT_EQ(part.array(), text.array() + 5);
    EXPECT_EQ(String(bytes).array(), text.array());
    EXPECT_EQ(text.block()->gcRef(), 4);
    EXPECT_TRUE(from.empty() && to == "a literal");  // NOLINT(bugprone-use-after-move)
}

TEST(String, strEndsTheTextWithNul) {
    const String whole = String::copy("abcdef");
    EXPECT_STREQ(whole.range(1, 3).str(), "bc");
    EXPECT_EQ(whole.str(), whole.array()) << "nothing is copied for a text that is terminated";
    EXPECT_STREQ(String().str(), "");
    // A buffer may fill its block to the last byte: what lies behind must not be looked at.
    const gc::Pointer<MemoryBlock> block = memoryBlockPool.create(64);
    std::memset(block->data(), 'x', 64);
    EXPECT_EQ(String(Memory(block->data(), 64, block)).str(), std::string(64, 'x'));
}

TEST(String, changesNeverReachWhoShares) {
    const String original = String::copy("0123456789");
    String head = original.range(0, 4);
    String tail = original.range(6);
    String whole = original;
    head.append("head");
    tail += "tail";
    whole.setAt(0, 'X');
    whole.setAt(10, 'X');
    EXPECT_EQ(head, "0123head");
    EXPECT_EQ(tail, "6789tail");
    EXPECT_EQ(whole, "X123456789");
    EXPECT_EQ(original, "0123456789");
}

TEST(String, changesOnOtherThreadsNeverReachWhoShares) {
    const String original = String::copy("shared text");
    const auto change = [copy = original] {
        for (int round = 0; round < 2000; ++round) {
            String mine = copy;
            mine.append(" changed");
            ASSERT_EQ(mine, "shared text changed");
        }
    };
    std::thread other(change);
    change();
    other.join();
    EXPECT_EQ(original, "shared text");
}

TEST(String, appendsWhateverLiesInItself) {
    String text = String::copy("abcdefghij");
    text.append(text).append(text).append(text);
    EXPECT_EQ(text.length(), 80U);
    text.cut(10);
    text.append(text.array() + 7, 3);
    text.append(text.range(0, 2), '-', text);
    EXPECT_EQ(text, "abcdefghijhijab-abcdefghijhij");
    text.append(text + "/" + text.range(0, 1));
    EXPECT_EQ(text, "abcdefghijhijab-abcdefghijhijabcdefghijhijab-abcdefghijhij/a");
}

TEST(String, appendsPiecesAndFillsAndCuts) {
    String text;
    text.append("a", 'b', String("cd"), "ef", 'g', "").append("h", 0).append(3, '.').append("x", 'y');
    EXPECT_EQ(text, "abcdefg...xy");
    text.cut(100);
    text.cut(7);
    text.resize(9);
    EXPECT_EQ(text, String("abcdefg\0\0", 9));
    EXPECT_NE(text.clone().array(), text.array());
}

TEST(String, aLongTextBuiltByteByByteIsMovedAFewTimesOnly) {
    String text;
    unsigned capacity = 0;
    unsigned moves = 0;
    for (unsigned i = 0; i < 4U << 20U; ++i) {
        text.append("x", 1);
        moves += text.block()->capacity() == capacity ? 0 : 1;
        capacity = text.block()->capacity();
    }
    EXPECT_LT(moves, 200U) << "of which 128 are the steps up to 8 KiB";
}

TEST(String, abortsForANullPointerAndForTooLongATotal) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const char* missing = nullptr;
    EXPECT_DEATH(String{missing}, "libs/base/string:[0-9]+: assertion failed: m_string");
    EXPECT_DEATH(String(missing, 0), "assertion failed: m_string");
    EXPECT_DEATH(String("x").reserve(static_cast<unsigned>(-1)), "assertion failed: upperSize >= size");
}

TEST(String, comparesAndLowersOnlyTheReceiver) {
    const String text = "Content-Length";
    const std::tuple<const char*, bool, bool, bool, bool> rows[] = {
        {"Content", true, false, false, false},       {"content", false, false, true, false},
        {"Length", false, true, false, false},        {"length", false, false, false, true},
        {"content-length", false, false, true, true}, {"content-length:", false, false, false, false},
    };
    for (const auto& [argument, starts, ends, startsNoCase, endsNoCase] : rows) {
        const unsigned length = String::length(argument);
        EXPECT_EQ(text.starts(argument), starts) << argument;
        EXPECT_EQ(text.ends(argument), ends) << argument;
        EXPECT_EQ(text.startsNoCase2(argument, length), startsNoCase) << argument;
        EXPECT_EQ(text.endsNoCase2(argument, length), endsNoCase) << argument;
    }
    EXPECT_TRUE(String("Abc").equalsNoCase2("abc", 3));
    EXPECT_FALSE(String("Abc").equalsNoCase2("ABC", 3));
    EXPECT_FALSE(String("\xC4").equalsNoCase2("\xE4", 1)) << "only ASCII has case";
    EXPECT_TRUE(text.starts("Length", 8));
    EXPECT_FALSE(text.starts("Length", String::npos));
    EXPECT_FALSE(text == "Content");
    EXPECT_FALSE(String("a\0b", 3) == String("a\0c", 3));
}

TEST(String, findsPositions) {
    const String text = "a=b, A=B ";
    constexpr unsigned npos = String::npos;
    const std::vector<unsigned> found{
        text.find('='),           text.find('x'),          text.find(' ', 9),         text.find('a', npos),
        text.find("A="),          text.find("a=b, A=B  "), text.rfind('='),           text.rfind("a="),
        text.rfind("aa"),         text.findFirstOf(",A"),  text.findFirstOf("ab", 3), text.findNoCase2("a=b ", 4),
        text.findNoCase2("A", 1), text.searchSpace(5),     text.searchNoSpace(8)};
    EXPECT_EQ(found, (std::vector<unsigned>{1, npos, npos, npos, 5, npos, 6, 0, npos, 3, npos, 5, npos, 8, npos}));
}

TEST(String, searchesHostileTextsInLinearTime) {
    // Compared byte by byte at every position, these would take hours.
    String text;
    text.append(4U << 20U, 'a');
    String searched;
    searched.append(1U << 20U, 'a');
    const String last = searched + "b";
    const String first = "b" + searched;
    EXPECT_EQ(text.find(last), String::npos);
    EXPECT_EQ(text.rfind(first), String::npos);
    EXPECT_EQ(String(first + text).rfind(first), 0U);
    EXPECT_EQ(text.findNoCase2(last.array(), last.length()), String::npos);
    EXPECT_EQ(text.replace("a", "bb").length(), 8U << 20U);
}

}  // namespace tessel
