// SPDX-License-Identifier: Apache-2.0
#include "libs/base/exception.h"

#include <gtest/gtest.h>

namespace tessel {

TEST(Exception, keepsTheBaseNameOfItsFileAndShowsItsCodeOnlyWhenThereIsOne) {
    using Row = std::pair<const char*, const char*>;
    for (const auto& [path, kept] :
         {Row{"a/b/c", "c"}, {"a\\b\\c", "c"}, {"a\\b/c\\d", "c\\d"}, {"plain", "plain"}, {"a/", ""}}) {
        EXPECT_EQ(Exception("m", path, 1).getFile(), kept) << path;
    }
    EXPECT_EQ(Exception("broken", "libs/base/file", 12).toString(), "broken:file:12");
    EXPECT_EQ(Exception(7, "broken", "libs/base/file", 12).toString(), "broken:file:12(7)");
    EXPECT_EQ(Exception(-7, "broken", "x\\file", 12).trace("apps/client", 160), "broken:file:12(-7) -> client:160");
}

TEST(Exception, tellsItsFactsToWhoKnowsOnlyTheStandardLibrary) {
    Exception error("EX", "x/file", 3);
    const std::exception& seen = error;
    EXPECT_STREQ(seen.what(), "EX:file:3");
    error.setFacts({.subject = "b", .words = "why"});
    EXPECT_STREQ(seen.what(), "EX:file:3: b: why");
    const Exception copy = error;
    error.under("a");
    EXPECT_STREQ(seen.what(), "EX:file:3: a.b: why");
    EXPECT_STREQ(copy.what(), "EX:file:3: b: why");
    EXPECT_EQ(seen.what(), seen.what()) << "made once";
}

}  // namespace tessel
