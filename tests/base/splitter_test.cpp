#include "libs/base/splitter.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tessel {

namespace {

std::vector<std::string> fields(Splitter& splitter) {
    std::vector<std::string> result;
    for (splitter.next(); splitter.valid(); splitter.next()) {
        EXPECT_EQ(splitter.length(), splitter.field().length());
        result.emplace_back(splitter.field().view());
    }
    EXPECT_FALSE(splitter.next());
    EXPECT_EQ(*splitter, "");
    return result;
}

using Fields = std::vector<std::string>;

}  // namespace

TEST(Splitter, givesOneFieldMoreThanSeparators) {
    struct Case {
        const char* text;
        Fields byComma;
        Fields byCommaOrBlank;
    };
    for (const Case& c : {Case{"", {""}, {""}},
                          {"one", {"one"}, {"one"}},
                          {"a,b c", {"a", "b c"}, {"a", "b", "c"}},
                          {",a,, b,", {"", "a", "", " b", ""}, {"", "a", "", "", "b", ""}}}) {
        CharSplitter byComma(c.text, ',');
        FirstOfSplitter byCommaOrBlank(c.text, ", ");
        EXPECT_EQ(fields(byComma), c.byComma) << c.text;
        EXPECT_EQ(fields(byCommaOrBlank), c.byCommaOrBlank) << c.text;
        byComma.rewind();
        EXPECT_EQ(fields(byComma), c.byComma) << "again: " << c.text;
    }
}

}  // namespace tessel
