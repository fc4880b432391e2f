#include "libs/base/confhelper.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/systemlogcapture.h"

namespace tessel {

using ::testing::Property;
using ::testing::Throws;

TEST(ConfReadHelper, aMissingKeyChangesNothingAndRaisesWhenItIsRequired) {
    /// A source that has no key at all.
    struct EmptyReader final : IKeyReader {
        using IKeyReader::read;
        IKeyReader& operator[](const char*) override { return *this; }
        IKeyReader& operator[](const String&) override { return *this; }
        bool exists(const String&) override { return false; }
        unsigned size(const String&) override { return 0; }
    };
    const nebrix::test::SystemLogCapture log;
    EmptyReader reader;
    List<String> items = {"old"};
    EXPECT_FALSE(ConfReadHelper::readList(reader, "items", "item", items, false));
    EXPECT_EQ(items, List<String>{"old"});
    EXPECT_FALSE(ConfReadHelper::readKeyOptional<int>(reader, "number", false).has_value());
    EXPECT_THAT([&] { ConfReadHelper(reader).get("certPassword", true); },
                Throws<EConfMissingKey>(Property(&Exception::toString, String("EConfMissingKey:confhelper:192"))));
    EXPECT_TRUE(log.contains("ERROR ConfReadHelper.readKey Missing tag: <certPassword>"));
}

TEST(OptionalConf, anAbsentEntryFailsOnlyWhenItIsUsed) {
    const nebrix::test::SystemLogCapture log;
    DeferredOptionalConf<int> entry;
    entry.set("there", 5);
    EXPECT_EQ(static_cast<int>(entry), 5);
    entry.setMissing("linux64_openssl3");
    EXPECT_FALSE(entry.present());
    EXPECT_THAT([&] { static_cast<void>(static_cast<int>(entry)); },
                Throws<EConfUsingMissingOptionalConf>(Property(&Exception::getLine, 264)));
    EXPECT_TRUE(log.contains("ERROR ConfHelper.OptionalConf Using missing configuration: \"linux64_openssl3\""));
}

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

}  // namespace tessel
