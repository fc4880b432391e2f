// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <json/json.h>

extern "C" {
#include "sdk/components/common/text.h"
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

}  // namespace
