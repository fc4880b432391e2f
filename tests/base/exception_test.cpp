#include "libs/base/exception.h"

#include <gtest/gtest.h>

namespace tessel {
namespace {

TEST(Exception, keepsTheBaseNameOfItsFile) {
    const struct {
        const char* path;
        const char* kept;
    } rows[] = {
        {"libs/base/string", "string"}, {"a\\b\\c", "c"}, {"a\\b/c\\d", "c\\d"}, {"plain", "plain"}, {"a/", ""}};
    for (const auto& row : rows) {
        EXPECT_EQ(Exception("m", row.path, 1).getFile(), row.kept) << row.path;
    }
}

TEST(Exception, textShowsTheCodeOnlyWhenThereIsOne) {
    EXPECT_EQ(Exception("broken", "libs/base/file", 12).toString(), "broken:file:12");
    EXPECT_EQ(Exception(7, "broken", "libs/base/file", 12).toString(), "broken:file:12(7)");
    EXPECT_EQ(Exception(-7, "broken", "x\\file", 12).trace("apps/client", 160), "broken:file:12(-7) -> client:160");
}

}  // namespace
}  // namespace tessel
