// The operations of String that give pieces and new strings.

#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "libs/base/string.h"
#include "tests/base/allocationcounter.h"

namespace tessel {

TEST(StringPieces, areCutAtTheFirstSeparator) {
    const std::tuple<const char*, const char*, const char*> rows[] = {
        {"k=v=w", "k", "v=w"}, {"=v", "", "v"}, {"k=", "k", ""}, {"k", "k", "k"}, {"", "", ""}};
    for (const auto& [text, left, right] : rows) {
        EXPECT_EQ(String(text).left('='), left) << text;
        EXPECT_EQ(String(text).right('='), right) << text;
    }
    EXPECT_TRUE(String("k").left('=', true).empty());
    EXPECT_TRUE(String("k").right('=', true).empty());
}

TEST(StringPieces, areClampedToTheText) {
    const String text = "0123";
    EXPECT_EQ(text.range(1, 3), "12");
    EXPECT_EQ(text.range(2, 100), "23");
    EXPECT_EQ(text.range(3, 2), "");
    EXPECT_EQ(text.range(4), "");
}

TEST(StringPieces, loseBlanksOrACharacterAtTheirEnds) {
    EXPECT_EQ(String(" \t\r\n\fa b \n").trim(), "a b");
    EXPECT_EQ(String(" \n ").trim(), "");
    EXPECT_EQ(String("//a/b/").trimLeft('/'), "a/b/");
    EXPECT_EQ(String("//a/b/").trimRight('/'), "//a/b");
    EXPECT_EQ(String("///").trim('/'), "");
}

TEST(StringEdit, givesNewStringsAndLeavesTheReceiver) {
    const String text = String::copy("Ab-aB-\xC4");
    const std::pair<String, const char*> rows[] = {
        {text.upper(), "AB-AB-\xC4"},
        {text.lower(), "ab-ab-\xC4"},
        {text.sort(), "--ABab\xC4"},
        {text.replace('-', '+'), "Ab+aB+\xC4"},
        {text.replace("-", "<->"), "Ab<->aB<->\xC4"},
        {text.replace("", "x"), "Ab-aB-\xC4"},
        {text.replace("b-aB-\xC4", "x"), "Ax"},
        {text.replaceNoCase2("ab", "12"), "12-12-\xC4"},
        {text.replaceNoCase2("AB", "12"), "Ab-aB-\xC4"},
        {text.replaceBetween(2, 6, "..."), "Ab...\xC4"},
        {text.replaceBetween(6, 2, "!"), "Ab-aB-!\xC4"},
        {text.remove('-'), "AbaB\xC4"},
        {text.remove("b-"), "AaB-\xC4"},
        {String("aaaaa").replace("aa", "b"), "bba"},
    };
    for (const auto& [edited, expected] : rows) {
        EXPECT_STREQ(edited.str(), expected);
    }
    EXPECT_EQ(text, "Ab-aB-\xC4");
}

TEST(StringEdit, gluesWithOneAllocation) {
    const String piece = String::copy(std::string(3000, 'x'));
    const Strings items{piece, "", piece, piece};
    const test::AllocationCounter allocations;
    const String glued = String(", ").glue(items);
    EXPECT_EQ(allocations.count(), 1U);
    EXPECT_EQ(glued.length(), 9006U);
    EXPECT_EQ(glued.range(2999, 3005), "x, , x");
    EXPECT_EQ(String(",").glue({}), "");
    EXPECT_EQ(String(",").glue({"", ""}), ",");
}

}  // namespace tessel
