#include <gtest/gtest.h>

#include "libs/base/confhelper.h"
#include "libs/json/jsonerrors.h"
#include "libs/json/jsonreader.h"
#include "tests/support/systemlogcapture.h"

namespace tessel::json {
namespace {

template <class T>
T valueOf(IKeyReader& reader) {
    T value{};
    reader.read(value);
    return value;
}

/// What an action raised, as "message:file:line".
template <class Action>
std::string raised(Action action) {
    try {
        action();
    } catch (const Exception& error) {
        return std::string(error.toString().view());
    }
    return "nothing";
}

TEST(JsonReader, TakesMembersAsOftenAsAsked) {
    const JSONWrapperFromString json("{\"Key\": \"v\", \"a\": null, \"n\": 7, \"deep\": {\"x\": true}}");
    JSONReader& reader = *json.getReader();
    EXPECT_EQ(&reader["Key"], &reader["Key"]);
    EXPECT_EQ(valueOf<String>(reader["Key"]), "v");
    EXPECT_EQ(valueOf<String>(reader["n"]), "7");
    EXPECT_EQ(valueOf<unsigned>(reader["n"]), 7U);
    EXPECT_TRUE(valueOf<bool>(reader["deep"]["x"]));
    EXPECT_TRUE(reader.exists("Key"));
    for (const char* absent : {"a", "b", "key", ""}) {
        EXPECT_FALSE(reader.exists(absent)) << absent;
    }
    EXPECT_EQ(raised([&] { (void)reader["b"]; }), "EJsonKeyReader:JSONReader:76");
    EXPECT_EQ(raised([&] { valueOf<String>(reader["a"]); }), "EJsonKeyReader:JSONReader:43");
}

TEST(JsonReaderDeathTest, ArraysAreReadByAskingAgain) {
    const JSONWrapperFromString json("{\"list\": [1, 2], \"other\": 3}");
    JSONReader& reader = *json.getReader();
    IKeyReader& list = reader["list"];
    EXPECT_EQ(list.size("any"), 2U);
    EXPECT_EQ(reader.size("list"), 2U);
    EXPECT_EQ(valueOf<int>(list["x"]), 1);
    EXPECT_EQ(valueOf<int>(reader["list"]["y"]), 2);
    EXPECT_EQ(raised([&] { (void)list["x"]; }), "EJsonKeyReader:JSONReader:41");
    EXPECT_EQ(raised([&] { (void)reader.size("other"); }), "EJsonKeyReader:JSONReader:43");
    EXPECT_EQ(raised([&] { (void)reader.size("none"); }), "EJsonKeyReader:JSONReader:76");
    EXPECT_DEATH(JSONArrayReader wrong(json), "json.getType\\(\\) == JSON::arrayValue");
}

TEST(JsonReader, WrongTypesRaiseAtTheirSites) {
    const JSONWrapperFromString json("{\"text\": \"12\", \"real\": 1e99, \"object\": {}, \"list\": []}");
    JSONReader& reader = *json.getReader();
    EXPECT_EQ(raised([&] { valueOf<int>(reader["text"]); }), "EKeyReader:JSONReader:91");
    EXPECT_EQ(raised([&] { valueOf<bool>(reader["text"]); }), "EKeyReader:JSONReader:92");
    EXPECT_EQ(raised([&] { valueOf<unsigned>(reader["real"]); }), "EKeyReader:JSONReader:94");
    const std::string unsupported = "EJsonKeyReader:JSONReader:43";
    EXPECT_EQ(raised([&] { valueOf<short>(reader["text"]); }), unsupported);
    EXPECT_EQ(raised([&] { valueOf<String>(reader["object"]); }), unsupported);
    EXPECT_EQ(raised([&] { valueOf<Memory>(reader["list"]); }), unsupported);
    EXPECT_EQ(raised([&] { (void)reader["text"]["x"]; }), unsupported);
    EXPECT_EQ(String(valueOf<Memory>(reader["text"])), "12");
}

struct Inner : IConf {
    Strings names;
    int number = 0;
    void keywrite(IKeyReader& reader) override {
        ConfReadHelper::readList(reader, "names", "name", names, false);
        ConfReadHelper::readKey(reader, "number", number, true);
    }
};

TEST(JsonReader, FillsObjects) {
    const JSONWrapperFromString json(
        "{\"inner\": {\"names\": [\"x\", \"y\"], \"number\": -5}, \"bad\": {}, \"no\": 1}");
    Inner inner;
    EXPECT_TRUE(ConfReadHelper::readKey(*json.getReader(), "inner", inner, true));
    EXPECT_EQ(String("+").glue(inner.names), "x+y");
    EXPECT_EQ(inner.number, -5);
    const nebrix::test::SystemLogCapture log;
    EXPECT_THROW(ConfReadHelper::readKey(*json.getReader(), "bad", inner, true), EConfMissingKey);
    EXPECT_TRUE(log.contains("Missing tag: <number>"));
    EXPECT_THROW(ConfReadHelper::readKey(*json.getReader(), "no", inner, true), EJsonKeyReader);
}

}  // namespace
}  // namespace tessel::json
