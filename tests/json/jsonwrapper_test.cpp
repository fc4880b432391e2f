#include <gtest/gtest.h>

#include <string>

#include "libs/json/jsonerrors.h"
#include "libs/json/jsonmutwrapper.h"
#include "libs/json/jsonwrapper.h"
#include "tests/support/systemlogcapture.h"

namespace tessel::json {
namespace {

String owned(const std::string& text) { return String::copy(std::string_view(text)); }

TEST(JsonWrapper, KnowsTheTypes) {
    const JSONWrapperFromString json("[null, -1, 4294967295, 1.5, \"s\", true, [], {}]");
    int expected = 0;
    for (auto at = json.begin(); !(at == json.end()); ++at, ++expected) {
        EXPECT_EQ((*at).getType(), expected);
    }
    EXPECT_EQ(expected, 8);
}

TEST(JsonWrapper, ReachesMembers) {
    const JSONWrapperFromString json("{\"b\": {\"x\": 1}, \"a\": null}");
    EXPECT_EQ(json["b"]["x"].asInt32(), 1);
    EXPECT_EQ(json["none"].getType(), JSON::nullValue);
    EXPECT_EQ(json["none"]["deeper"].getType(), JSON::nullValue);
    EXPECT_EQ(String(",").glue(json.getMemberNames()), "a,b");
    EXPECT_EQ((json.begin()).name(), "a");
    // Not of this toolkit's own family of exceptions, so that callers can tell.
    EXPECT_THROW((void)json["b"]["x"]["y"], std::exception);
}

TEST(JsonWrapper, ConvertsWhatTheLibraryConverts) {
    const JSONWrapperFromString json("[12, true, -0.5, \"a\\u0000b\", null, \"12\", 1e99, -1, {}]");
    // Each as a text, an int, an unsigned and a bool.
    const char* cases[][4] = {{"12", "12", "12", "1"},
                              {"true", "1", "1", "1"},
                              {"-0.5", "0", "refused", "1"},
                              {"a", "refused", "refused", "refused"},
                              {"", "0", "0", "0"},
                              {"12", "refused", "refused", "refused"},
                              {"9.9999999999999997e+98", "refused", "refused", "1"},
                              {"-1", "-1", "refused", "1"},
                              {"refused", "refused", "refused", "refused"}};
    const auto outcome = [](auto convert) -> std::string {
        const nebrix::test::SystemLogCapture log;
        try {
            return convert();
        } catch (const EJsonError& error) {
            EXPECT_EQ(error.toString(), "EJsonError:JSONWrapper:97");
            EXPECT_EQ(log.count("ERROR JSONWrapper._as JsonLogicError: "), 1U);
            return "refused";
        }
    };
    auto at = json.begin();
    for (const auto& [text, number, positive, flag] : cases) {
        const JSONWrapper value = *at;
        EXPECT_EQ(outcome([&] { return std::string(value.asString().view()); }), text);
        EXPECT_EQ(outcome([&] { return std::to_string(value.asInt32()); }), number) << text;
        EXPECT_EQ(outcome([&] { return std::to_string(value.asUInt32()); }), positive) << text;
        EXPECT_EQ(outcome([&] { return std::to_string(value.asBool()); }), flag) << text;
        ++at;
    }
}

TEST(JsonWrapper, RefusesWhatIsNoJsonAndQuotesNothing) {
    const std::string deep(2000, '[');
    std::string many = "[1";
    for (std::size_t i = 0; i <= JSONWrapperFromString::kMostValues; ++i) {
        many += ",1";
    }
    for (const std::string& text : {std::string(), std::string(" "), std::string("{\"secret\": "),
                                    std::string("secret"), std::string("[1 secret]"), std::string("{\"a\": 1,}secret"),
                                    deep, many + "]", std::string("\0[]", 3), std::string("[\"\\ud800 secret\"]")}) {
        const nebrix::test::SystemLogCapture log;
        try {
            const JSONWrapperFromString json(owned(text));
            ADD_FAILURE() << text.substr(0, 40);
        } catch (const EJsonError& error) {
            EXPECT_EQ(error.toString(), "EJsonError:JSONWrapper:235");
        }
        EXPECT_EQ(log.count("ERROR JSONWrapperFromString: unable to parse json !"), 1U);
        EXPECT_FALSE(log.contains("secret"));
    }
}

TEST(JsonWrapper, AcceptsWhatTheClassicReaderAccepts) {
    for (const std::string& text :
         {std::string("1 trailing"), std::string("[1] // comment"), std::string("[1]\0x", 5),
          std::string("{\"a\":1,\"a\":2}"), std::string("[\"\xff\xfe\"]"), std::string("[1,,2]").replace(3, 1, "")}) {
        EXPECT_NO_THROW(const JSONWrapperFromString json(owned(text))) << text;
    }
    std::string comments = "[1";
    for (int i = 0; i < 300'000; ++i) {
        comments += "/**/";
    }
    EXPECT_EQ(JSONWrapperFromString(owned(comments + "]")).size(), 1U) << "in linear time";
}

TEST(JsonText, IsBuiltPieceByPiece) {
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

}  // namespace
}  // namespace tessel::json
