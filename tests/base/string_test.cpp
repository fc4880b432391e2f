#include "libs/base/string.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <thread>

#include "libs/base/memory.h"
#include "libs/base/memoryblockpool.h"
#include "tests/base/allocationcounter.h"

namespace tessel {

namespace {

// Globals of this file are made before those of other files may be, and ended after them.
const String g_joined = String::null + "made " + "before main";

struct UsedAtTheEnd {
    UsedAtTheEnd() = default;
    UsedAtTheEnd(const UsedAtTheEnd&) = delete;
    UsedAtTheEnd& operator=(const UsedAtTheEnd&) = delete;
    ~UsedAtTheEnd() {
        const String text = String("still ") + g_joined + String::null;
        if (!(text == "still made before main") || !String::null.empty()) {
            std::abort();
        }
    }
} g_usedAtTheEnd;

}  // namespace

TEST(String, worksBeforeMain) { EXPECT_STREQ(g_joined.str(), "made before main"); }

TEST(String, copiesAndPiecesShareTheBytes) {
    const String text = String::copy("some text of a block");
    const test::AllocationCounter allocations;
    const String copy = text;
    const String part = text.range(5, 9);
    const Memory bytes = text;
    const String literal = "a literal";
    EXPECT_EQ(allocations.count(), 0U);
    EXPECT_EQ(copy.array(), text.array());
    EXPECT_EQ(part.array(), text.array() + 5);
    EXPECT_EQ(part, "text");
    EXPECT_EQ(String(bytes).array(), text.array());
    EXPECT_EQ(text.block()->gcRef(), 4);
    EXPECT_FALSE(literal.block().valid());
}

TEST(String, aMovedFromStringIsEmpty) {
    String from = String::copy("text");
    String to = std::move(from);
    EXPECT_EQ(to, "text");
    EXPECT_TRUE(from.empty());  // NOLINT(bugprone-use-after-move)
    EXPECT_STREQ(from.str(), "");
    from = std::move(to);
    EXPECT_EQ(from, "text");
}

TEST(String, strEndsTheTextWithNul) {
    std::string full(64, 'x');
    const String whole = String::copy("abcdef");
    const String part = whole.range(1, 3);
    EXPECT_STREQ(part.str(), "bc");
    EXPECT_STREQ(whole.str(), "abcdef");
    EXPECT_EQ(whole.str(), whole.array()) << "nothing is copied for a text that is terminated";
    EXPECT_STREQ(String().str(), "");
    // A buffer may fill its block to the last byte: what lies behind must not be looked at.
    Memory filled = Memory::copy(full.data(), 63);
    filled.append('x');
    EXPECT_EQ(String(filled).str(), full);
    const gc::Pointer<MemoryBlock> block = memoryBlockPool.create(64);
    std::memset(block->data(), 'x', 64);
    EXPECT_EQ(String(Memory(block->data(), 64, block)).str(), full);
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
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([copy = original]() mutable {
            for (int round = 0; round < 1000; ++round) {
                String mine = copy;
                mine.append(" changed");
                ASSERT_EQ(mine, "shared text changed");
            }
            copy.append("!");
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(original, "shared text");
    EXPECT_EQ(original.block()->gcRef(), 1);
}

TEST(String, appendsWhateverLiesInItself) {
    String text = String::copy("abcdefghij");
    for (int i = 0; i < 3; ++i) {
        text.append(text);
    }
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
    EXPECT_EQ(text.clone(), text);
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
    EXPECT_EQ(capacity % 64, 0U);
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
    struct Case {
        const char* argument;
        bool starts;
        bool ends;
        bool startsNoCase;
        bool endsNoCase;
    };
    for (const Case& c : {Case{"Content", true, false, false, false},
                          {"content", false, false, true, false},
                          {"Length", false, true, false, false},
                          {"length", false, false, false, true},
                          {"", true, true, true, true},
                          {"content-length", false, false, true, true},
                          {"content-length:", false, false, false, false}}) {
        const unsigned length = String::length(c.argument);
        EXPECT_EQ(text.starts(c.argument), c.starts) << c.argument;
        EXPECT_EQ(text.ends(c.argument), c.ends) << c.argument;
        EXPECT_EQ(text.startsNoCase2(c.argument, length), c.startsNoCase) << c.argument;
        EXPECT_EQ(text.endsNoCase2(c.argument, length), c.endsNoCase) << c.argument;
    }
    EXPECT_TRUE(String("Abc").equalsNoCase2("abc", 3));
    EXPECT_FALSE(String("Abc").equalsNoCase2("ABC", 3));
    EXPECT_FALSE(String("Abc").equalsNoCase2("abcd", 4));
    EXPECT_FALSE(String("\xC4").equalsNoCase2("\xE4", 1)) << "only ASCII has case";
    EXPECT_TRUE(text.starts("Length", 8));
    EXPECT_FALSE(text.starts("Length", String::npos));
    EXPECT_FALSE(text == "Content");
    EXPECT_TRUE(String("a\0b", 3) == String("a\0b", 3));
    EXPECT_FALSE(String("a\0b", 3) == String("a\0c", 3));
}

TEST(String, findsPositions) {
    const String text = "a=b, A=B ";
    constexpr unsigned npos = String::npos;
    struct Case {
        const char* what;
        unsigned found;
        unsigned expected;
    };
    for (const Case& c : {Case{"char", text.find('='), 1},
                          {"char missing", text.find('x'), npos},
                          {"char from the end", text.find(' ', 9), npos},
                          {"char from npos", text.find('a', npos), npos},
                          {"text", text.find("A="), 5},
                          {"text too long", text.find("a=b, A=B  "), npos},
                          {"last char", text.rfind('='), 6},
                          {"last text at 0", text.rfind("a="), 0},
                          {"last text missing", text.rfind("aa"), npos},
                          {"first of", text.findFirstOf(",A"), 3},
                          {"first of from", text.findFirstOf("ab", 3), npos},
                          {"lowered", text.findNoCase2("a=b ", 4), 5},
                          {"lowered, upper argument", text.findNoCase2("A", 1), npos},
                          {"blank from", text.searchSpace(5), 8},
                          {"no blank at the end", text.searchNoSpace(8), npos}}) {
        EXPECT_EQ(c.found, c.expected) << c.what;
    }
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
