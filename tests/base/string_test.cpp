// SPDX-License-Identifier: Apache-2.0
#include "libs/base/string.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "libs/base/memory.h"
#include "libs/base/memoryblockpool.h"
#include "libs/base/splitter.h"
#include "libs/base/stringaddition.h"
#include "tests/base/allocationcounter.h"

namespace tessel {

namespace {

/// The texts of all, with a bar behind each.
std::string barred(const auto&... parts) { return (... + (std::string(String(parts).view()) + "|")); }

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

TEST(String, copiesAndPiecesShareTheBytes) {
    const String text = String::copy("some text of a block");
    const unsigned long before = test::allocations();
    const String copy = text;
    const String part = text.range(5, 9);
    const Memory bytes = text;
    String from = "a literal";
    const String to = std::move(from);
    EXPECT_EQ(test::allocations(), before);
    EXPECT_EQ(copy.array(), text.array());
    EXPECT_EQ(part.array(), text.array() + 5);
    EXPECT_EQ(String(bytes).array(), text.array());
    EXPECT_EQ(text.block()->gcRef(), 4);
    EXPECT_TRUE(from.empty() && to == "a literal");  // NOLINT(bugprone-use-after-move)
}

TEST(String, strEndsTheTextWithNul) {
    const String whole = String::copy("abcdef");
    const String part = whole.range(1, 3);
    const char* const ended = part.str();
    EXPECT_STREQ(ended, "bc");
    EXPECT_EQ(part.str(), ended) << "copied once";
    EXPECT_EQ(whole.str(), whole.array()) << "nothing is copied for a text that is terminated";
    EXPECT_STREQ(String().str(), "");
    EXPECT_EQ(whole.range(3).str(), whole.array() + 3) << "nor for its end";
    String cut = whole;
    cut.cut(2);
    String text;
    text = std::move(cut);
    EXPECT_STREQ(text.str(), "ab");
    std::memset(text.reserve(8), 'x', 8);
    EXPECT_STREQ(text.str(), "ab") << "what is not yet grown over";
    String grown;
    while (grown.append(1, 'x').length() < 300) {
        ASSERT_GT(grown.block()->capacity(), grown.length()) << "there is room for the NUL";
    }
    text.setAt(2, 'x');
    EXPECT_STREQ(text.str(), "ab") << "behind the end";
    text.setAt(1, 'c');
    const char* const terminated = text.array();
    EXPECT_EQ(text.str(), terminated);
}

TEST(String, strReadsNothingBehindTheText) {
    const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    char* const bytes =
        static_cast<char*>(::mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    ASSERT_EQ(::mprotect(bytes + page, page, PROT_NONE), 0);
    std::memset(bytes, 'x', page);
    EXPECT_STREQ(String(bytes + page - 3, 3).str(), "xxx");
    ::munmap(bytes, 2 * page);
    // Whoever filled a block may go on behind: a NUL that stands there says nothing.
    const gc::Pointer<MemoryBlock> block = memoryBlockPool.create(64);
    std::memcpy(block->data(), "abc", 4);
    const String text = Memory(block->data(), 3, block);
    EXPECT_TRUE(text.str() != block->data() && text == "abc");
}

TEST(String, changesNeverReachWhoSharesOnAnyThread) {
    const String original = String::copy("0123456789");
    const auto change = [copy = original] {
        for (int round = 0; round < 2000; ++round) {
            String head = copy.range(0, 4);
            String tail = copy.range(6);
            String whole = copy;
            head.append("head");
            tail += "tail";
            whole.setAt(0, 'X');
            whole.setAt(10, 'X');
            ASSERT_EQ(String(head + "," + tail + "," + whole), "0123head,6789tail,X123456789");
        }
    };
    std::thread other(change);
    change();
    other.join();
    EXPECT_EQ(original, "0123456789");
}

TEST(String, appendsWhateverLiesInItselfAndPiecesAndFills) {
    String text = String::copy("abcdefghij");
    text.append(text).append(text).append(text);
    EXPECT_EQ(text.length(), 80U);
    text.cut(10);
    text.append(text.array() + 7, 3);
    text.append(text.range(0, 2), '-', text);
    EXPECT_EQ(text, "abcdefghijhijab-abcdefghijhij");
    text.append(text + "/" + text.range(0, 1));
    EXPECT_EQ(text, "abcdefghijhijab-abcdefghijhijabcdefghijhijab-abcdefghijhij/a");
    text = "";
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
    const String text = String::copy(std::string(4U << 20U, 'a'));
    const String searched = text.range(0, 1U << 20U);
    const String last = searched + "b";
    const String first = "b" + searched;
    EXPECT_EQ(text.find(last), String::npos);
    EXPECT_EQ(text.rfind(first), String::npos);
    EXPECT_EQ(String(first + text).rfind(first), 0U);
    EXPECT_EQ(text.findNoCase2(last.array(), last.length()), String::npos);
    EXPECT_EQ(text.replace("a", "bb").length(), 8U << 20U);
}

TEST(StringEdit, cutsAtTheFirstSeparator) {
    const std::tuple<const char*, const char*, const char*> rows[] = {
        {"k=v=w", "k", "v=w"}, {"=v", "", "v"}, {"k=", "k", ""}, {"k", "k", "k"}, {"", "", ""}};
    for (const auto& [text, left, right] : rows) {
        EXPECT_EQ(String(text).left('='), left) << text;
        EXPECT_EQ(String(text).right('='), right) << text;
    }
}

TEST(StringEdit, givesNewStringsAndPiecesAndLeavesTheReceiver) {
    const String text = String::copy("Ab-aB-\xC4");
    const std::string edited =
        barred(text.upper(), text.lower(), text.sort(), text.replace('-', '+'), text.replace("-", "<->"),
               text.replace("", "x"), text.replace("b-aB-\xC4", "x"), text.replaceNoCase2("ab", "12"),
               text.replaceNoCase2("AB", "12"), text.replaceBetween(2, 6, "..."), text.replaceBetween(6, 2, "!"),
               text.remove('-'), text.remove("b-"), text.left('=', true), text.right('=', true), text.range(1, 3),
               text.range(2, 100), text.range(3, 2), text.range(7), String("aaaaa").replace("aa", "b"),
               String(" \t\r\n\fa b \n").trim(), String(" \n ").trim(), String("//a/b/").trimLeft('/'),
               String("//a/b/").trimRight('/'), String("///").trim('/'));
    EXPECT_EQ(edited,
              "AB-AB-\xC4|ab-ab-\xC4|--ABab\xC4|Ab+aB+\xC4|Ab<->aB<->\xC4|Ab-aB-\xC4|Ax|12-12-\xC4|Ab-aB-\xC4|"
              "Ab...\xC4|Ab-aB-!\xC4|AbaB\xC4|AaB-\xC4|||b-|-aB-\xC4|||bba|a b||a/b/|//a/b||");
    EXPECT_EQ(text, "Ab-aB-\xC4");
}

TEST(StringEdit, gluesWithOneAllocation) {
    const String piece = String::copy(std::string(3000, 'x'));
    const Strings items{piece, "", piece, piece};
    const unsigned long before = test::allocations();
    const String glued = String(", ").glue(items);
    EXPECT_EQ(test::allocations() - before, 1U);
    EXPECT_EQ(glued.length(), 9006U);
    EXPECT_EQ(glued.range(2999, 3005), "x, , x");
    EXPECT_EQ(String(",").glue({}), "");
    EXPECT_EQ(String(",").glue({"", ""}), ",");
}

TEST(StringAddition, joinsEveryPairing) {
    const String s = String::copy("s");
    const StringAddition kept = s + "k";
    const std::string joined =
        barred(s + s, s + "c", "c" + s, s + kept, kept + s, kept + "c", "c" + kept, kept + kept, s + (s + "c"),
               ("c" + s) + s, String("t") + s, "c" + String("t"), s + String("t"), kept + String("t"),
               String("t") + kept, kept + (kept + s), String("t") + "c", String("t") + String("u"));
    EXPECT_EQ(joined, "ss|sc|cs|ssk|sks|skc|csk|sksk|ssc|css|ts|ct|st|skt|tsk|sksks|tc|tu|");
    EXPECT_EQ(String(kept), "sk") << "a kept builder stays as it is";
}

TEST(StringAddition, costsOneAllocationWhateverItsLength) {
    // Beyond what the pool keeps, so that each result needs a new block.
    const String counted = String::copy(std::string(5000, 'x'));
    for (const unsigned parts : {3U, 8U, 9U, 16U, 17U, 32U, 33U, 100U}) {
        std::string expected;
        { const String warm = chain(parts, "", expected); }
        const StringAddition whole = chain(parts, counted, expected);
        const unsigned long before = test::allocations();
        const String result = whole;
        EXPECT_EQ(test::allocations() - before, 1U) << parts;
        EXPECT_EQ(result.view(), expected) << parts;
        EXPECT_EQ(whole.length(), expected.size()) << parts;
    }
    const unsigned long before = test::allocations();
    const String joined = counted + "2" + counted + "4" + counted + "6" + counted + "8" + counted + "10" + counted;
    EXPECT_EQ(test::allocations() - before, 1U) << "building the chain takes nothing from the heap either";
}

TEST(StringAddition, staysValidWhenItsPartsAreGone) {
    String part = String::copy("a counted part");
    const MemoryBlock* block = part.block().get();
    const StringAddition kept = std::move(part) + ", " + String::copy("a temporary one") + "";
    EXPECT_EQ(block->gcRef(), 1) << "a temporary is taken over";
    part = "something else";
    EXPECT_EQ(String(kept), "a counted part, a temporary one");
}

}  // namespace tessel
