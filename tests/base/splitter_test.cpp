#include "libs/base/splitter.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

namespace tessel {

namespace {

using Fields = std::vector<std::string>;

Fields fields(Splitter& splitter) {
    Fields result;
    for (splitter.next(); splitter.valid(); splitter.next()) {
        EXPECT_EQ(splitter.length(), splitter.field().length());
        result.emplace_back(splitter.field().view());
    }
    EXPECT_FALSE(splitter.next());
    EXPECT_EQ(*splitter, "");
    return result;
}

}  // namespace

TEST(Splitter, givesOneFieldMoreThanSeparators) {
    const std::tuple<const char*, Fields, Fields> rows[] = {
        {"", {""}, {""}},
        {"one", {"one"}, {"one"}},
        {"a,b c", {"a", "b c"}, {"a", "b", "c"}},
        {",a,, b,", {"", "a", "", " b", ""}, {"", "a", "", "", "b", ""}},
    };
    for (const auto& [text, atCommas, atCommasAndBlanks] : rows) {
        CharSplitter byComma(text, ',');
        FirstOfSplitter byCommaOrBlank(text, ", ");
        EXPECT_EQ(fields(byComma), atCommas) << text;
        EXPECT_EQ(fields(byCommaOrBlank), atCommasAndBlanks) << text;
        byComma.rewind();
        EXPECT_EQ(fields(byComma), atCommas) << "again: " << text;
    }
}

}  // namespace tessel
