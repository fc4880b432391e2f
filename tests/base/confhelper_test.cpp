#include "libs/base/confhelper.h"

#include <gtest/gtest.h>

#include <map>

#include "libs/base/datetime.h"
#include "tests/support/systemlogcapture.h"

namespace tessel {
namespace {

/// One level of keys with text values; a list is the value's fields between commas.
class MapReader final : public IKeyReader {
public:
    using IKeyReader::read;
    std::map<std::string, std::string> values;

    IKeyReader& operator[](const char* key) override {
        if (m_list.empty()) {
            m_list = values.at(key);
        }
        return *this;
    }
    IKeyReader& operator[](const String& key) override { return (*this)[key.str()]; }
    bool exists(const String& key) override { return values.count(std::string(key.view())) != 0; }
    unsigned size(const String&) override {
        return static_cast<unsigned>(std::count(m_list.begin(), m_list.end(), ',') + 1);
    }
    void read(String& value) override {
        const auto comma = std::min(m_list.find(','), m_list.size());
        value = String::copy(std::string_view(m_list).substr(0, comma));
        m_list.erase(0, comma + 1);
    }
    void read(int& value) override { value = std::stoi(std::exchange(m_list, {})); }

private:
    std::string m_list;
};

class Pair final : public IConf {
public:
    void keywrite(IKeyReader& reader) override {
        ConfReadHelper::readKey(reader, "name", name, true);
        ConfReadHelper::readKey(reader, "number", number, false);
    }
    String name;
    int number = -1;
};

TEST(ConfReadHelper, readsWhatIsThereAndLeavesTheRest) {
    MapReader reader;
    reader.values = {{"name", "n"}, {"items", "a,b,c"}};
    Pair pair;
    static_cast<ISerialize&>(pair).write(static_cast<IKeyReader&>(reader));
    EXPECT_EQ(pair.name, "n");
    EXPECT_EQ(pair.number, -1);
    List<String> items = {"old"};
    EXPECT_FALSE(ConfReadHelper::readList(reader, "none", "item", items, false));
    EXPECT_EQ(items.size(), 1U);
    EXPECT_TRUE(ConfReadHelper::readList(reader, "items", "item", items, true));
    EXPECT_EQ(String(" ").glue(items), "a b c");
    EXPECT_FALSE(ConfReadHelper::readKeyOptional<int>(reader, "number", false).has_value());
    String unused;
    EXPECT_THROW(pair.read(static_cast<IWriter&>(*std::make_unique<StringWriter>(unused))), ENotImplemented);
}

TEST(ConfReadHelper, aMissingRequiredKeyIsLoggedAndRaised) {
    const nebrix::test::SystemLogCapture log;
    MapReader reader;
    try {
        ConfReadHelper(reader).get("certPassword", true);
        ADD_FAILURE() << "nothing was raised";
    } catch (const EConfMissingKey& caught) {
        EXPECT_EQ(caught.toString(), "EConfMissingKey:confhelper:192");
    }
    EXPECT_TRUE(log.contains("ERROR ConfReadHelper.readKey Missing tag: <certPassword>"));
    EXPECT_FALSE(ConfReadHelper(reader).get("certPassword", false));
}

TEST(OptionalConf, anAbsentEntryFailsOnlyWhenItIsUsed) {
    const nebrix::test::SystemLogCapture log;
    MapReader reader;
    reader.values = {{"there", "5"}};
    DeferredOptionalConf<int> entry;
    entry.read(reader, "there");
    EXPECT_EQ(static_cast<int>(entry), 5);
    entry.read(reader, "linux64_openssl3");
    EXPECT_FALSE(entry.present());
    try {
        static_cast<void>(static_cast<int>(entry));
        ADD_FAILURE() << "nothing was raised";
    } catch (const EConfUsingMissingOptionalConf& caught) {
        EXPECT_EQ(caught.getLine(), 264);
    }
    EXPECT_TRUE(log.contains("ERROR ConfHelper.OptionalConf Using missing configuration: \"linux64_openssl3\""));
}

TEST(StringWriter, putsValuesOneBehindTheOther) {
    String text;
    StringWriter writer(text);
    writer.write(-5);
    writer.write(true);
    writer.write(7U);
    writer.write("text");
    writer.write(Memory("m"));
    EXPECT_EQ(text, "-5true7textm");
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
