// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "libs/json/jsonerrors.h"
#include "libs/json/jsonmutwrapper.h"
#include "libs/json/jsonreader.h"
#include "tests/support/systemlogcapture.h"

namespace tessel::json {
namespace {

String owned(const std::string& text) { return String::copy(std::string_view(text)); }

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

TEST(JsonWrapper, reachesMembers) {
    const JSONWrapperFromString json("{\"b\": {\"x\": 1}, \"a\": null}");
    EXPECT_EQ(json["b"]["x"].asInt32(), 1);
    EXPECT_EQ(json["none"].getType(), JSON::nullValue);
    EXPECT_EQ(json["none"]["deeper"].getType(), JSON::nullValue);
    EXPECT_EQ(String(",").glue(json.getMemberNames()), "a,b");
    EXPECT_EQ((json.begin()).name(), "a");
    // Not of this toolkit's own family of exceptions, so that callers can tell.
    EXPECT_THROW(raised([&] { (void)json["b"]["x"]["y"]; }), std::exception);
}

TEST(JsonWrapper, raisesWhatTheLibraryDoesNotConvert) {
    const JSONWrapperFromString json("{\"text\": \"a\\u0000b\", \"one\": 1, \"real\": 1e99, \"object\": {}}");
    EXPECT_EQ(json["text"].asString(), "a") << "up to its first NUL";
    EXPECT_TRUE(json["one"].asBool() && json["one"].asUInt32() == 1 && json["one"].asString() == "1");
    const nebrix::test::SystemLogCapture log;
    const std::string error = "EJsonError:JSONWrapper:97";
    EXPECT_EQ(raised([&] { (void)json["object"].asString(); }), error);
    EXPECT_EQ(raised([&] { (void)json["real"].asInt32(); }), error);
    EXPECT_EQ(raised([&] { (void)json["real"].asUInt32(); }), error);
    EXPECT_EQ(raised([&] { (void)json["text"].asBool(); }), error);
    EXPECT_EQ(log.count("ERROR JSONWrapper._as JsonLogicError: "), 4U);
}

TEST(JsonWrapper, refusesWhatIsNoJsonAndQuotesNothing) {
    const std::string deep(2000, '[');
    std::string many = "[1";
    std::string withoutCommas = "{\"a\":1";
    for (std::size_t i = 0; i <= JSONWrapperFromString::kMostValues; ++i) {
        many += ",1";
        withoutCommas += "/**/1\"b\":1";
    }
    for (const std::string& text :
         {std::string(), std::string(" "), std::string("{\"secret\": "), std::string("secret"),
          std::string("[1 secret]"), std::string("{\"a\": 1,}secret"), deep, many + "]", withoutCommas + "}",
          std::string("\0[]", 3), std::string("[\"\\ud800 secret\"]"),
          // Quotes that begin or end no string.
          "[/*\"*/1," + many.substr(1) + "]", "[//\"\n1," + many.substr(1) + "]",
          "[\"\\\\\"," + many.substr(1) + "]"}) {
        const nebrix::test::SystemLogCapture log;
        EXPECT_EQ(raised([&] { JSONWrapperFromString(owned(text)); }), "EJsonError:JSONWrapper:235")
            << text.substr(0, 40);
        EXPECT_EQ(log.count("ERROR JSONWrapperFromString: unable to parse json !"), 1U);
        EXPECT_FALSE(log.contains("secret"));
    }
}

TEST(JsonWrapper, readsWhatOnlyLooksLikeTooMuch) {
    EXPECT_NO_THROW(JSONWrapperFromString("1 trailing"));
    std::string comments = "[1";
    for (int i = 0; i < 300'000; ++i) {
        comments += "/**/";
    }
    EXPECT_EQ(JSONWrapperFromString(owned(comments + "]")).size(), 1U) << "in linear time";
    const std::string commas = "a\\\"" + std::string(JSONWrapperFromString::kMostValues, ',');
    EXPECT_EQ(JSONWrapperFromString(owned("[\"" + commas + "\"]")).size(), 1U) << "in a string they are no values";
}

TEST(JsonText, isBuiltPieceByPiece) {
    JSONMutWrapper list;
    list.append("x").append(-1).append(2U).append(true);
    JSONMutWrapper json = JSONMutWrapper::object();
    json.set("list", list).set("text", String("a\"b")).set("flag", false).set("gone", 1).remove("gone");
    const JSONMutWrapper copy = json;
    json.set("text", "changed").set("null", JSONMutWrapper());
    EXPECT_EQ(toLine(copy), "{\"flag\":false,\"list\":[\"x\",-1,2,true],\"text\":\"a\\\"b\"}");
    EXPECT_EQ(toLine(json), "{\"flag\":false,\"list\":[\"x\",-1,2,true],\"null\":null,\"text\":\"changed\"}");
    EXPECT_THROW(json.append(1), EJsonError);
    EXPECT_THROW(list.set("a", 1), EJsonError);
    EXPECT_EQ(toString(JSONWrapperFromString("{\"b\":[1,\"x\\ny\"],\"a\":{}}")),
              "{\n\t\"a\" : {},\n\t\"b\" : \n\t[\n\t\t1,\n\t\t\"x\\ny\"\n\t]\n}");
}

TEST(JsonReader, takesMembersAsOftenAsAsked) {
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

TEST(JsonReaderDeathTest, arraysAreReadByAskingAgain) {
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

TEST(JsonReader, wrongTypesRaiseAtTheirSites) {
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

}  // namespace
}  // namespace tessel::json
