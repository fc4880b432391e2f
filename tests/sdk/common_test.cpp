#include <gtest/gtest.h>
#include <json/json.h>

extern "C" {
#include "sdk/components/common/log.h"
}

namespace {

TEST(ComponentText, jsonStringsComeBackAsTheyWere) {
    const std::pair<std::string, std::string> cases[] = {
        {"", ""},
        {"a\"b\\c/d \x01\n\t\x1f\x7f", "a\"b\\c/d \x01\n\t\x1f\x7f"},
        {"\xc3\xa9 \xe2\x82\xac \xf0\x9f\x94\x92", "\xc3\xa9 \xe2\x82\xac \xf0\x9f\x94\x92"},
        {"\x80|\xc0\xaf|\xff", "\xef\xbf\xbd|\xef\xbf\xbd\xef\xbf\xbd|\xef\xbf\xbd"},
        {"\xed\xa0\x80", "\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd"},
        {"cut\xe2\x82", "cut\xef\xbf\xbd\xef\xbf\xbd"}};
    for (const auto& [bytes, read] : cases) {
        nebrix_text text = NEBRIX_TEXT_INIT(1000);
        nebrix_text_append_json(&text, bytes.c_str());
        Json::Value value;
        ASSERT_TRUE(Json::Reader().parse(nebrix_text_get(&text), value)) << nebrix_text_get(&text);
        EXPECT_EQ(value.asString(), read);
        nebrix_text_free(&text);
    }
}

TEST(ComponentLog, dropsItsOldestLinesWhole) {
    nebrix_log log;
    nebrix_log_init(&log);
    for (int i = 0; i < 5000; ++i)
        nebrix_log_line(&log, "line ", std::to_string(i).c_str());
    char* const text = nebrix_log_copy(&log);
    const std::string copy = text;
    std::free(text);
    EXPECT_LE(copy.size(), 65536U);
    EXPECT_EQ(copy.find("line 0\n"), std::string::npos);
    EXPECT_EQ(copy.substr(copy.size() - 10), "line 4999\n");
    EXPECT_EQ(copy.substr(20, 6), " line ") << "the first line must be whole";
    nebrix_text_free(&log.text);
}

}  // namespace
