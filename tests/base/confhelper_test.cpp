#include "libs/base/confhelper.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "libs/base/datetime.h"
#include "tests/support/systemlogcapture.h"

namespace tessel {
namespace {

using ::testing::Property;
using ::testing::Throws;

/// A source that has no key at all.
class EmptyReader final : public IKeyReader {
public:
    using IKeyReader::read;
    IKeyReader& operator[](const char*) override { return *this; }
    IKeyReader& operator[](const String&) override { return *this; }
    bool exists(const String&) override { return false; }
    unsigned size(const String&) override { return 0; }
};

TEST(ConfReadHelper, aMissingKeyChangesNothingAndRaisesWhenItIsRequired) {
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

TEST(StringWriter, putsValuesOneBehindTheOther) {
    String text;
    StringWriter writer(text);
    writer.write(-5);
    writer.write(true);
    writer.write(Memory("m"));
    EXPECT_EQ(text, "-5truem");
}

TEST(DateTime, isLocalTimeWithItsOffset) {
    ::setenv("TZ", "XYZ-2", 1);
    ::tzset();
    EXPECT_EQ(DateTime(0).toString(), "1970-01-01T02:00:00+0200");
    EXPECT_EQ(DateTime(86399).toString("%d.%m.%y"), "02.01.70");
    ::unsetenv("TZ");
    ::tzset();
}

}  // namespace
}  // namespace tessel
