// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <clocale>

#include "apps/nebrixclient/gui/desktop.h"
#include "apps/nebrixclient/gui/wxtext.h"

namespace nebrix::test {
namespace {

using tessel::String;

TEST(Text, survivesBothWaysWhateverTheSystemLocale) {
    std::setlocale(LC_ALL, "C");
    EXPECT_TRUE(tessel::wxToTesselString(wxString::FromUTF8("pä€ss")).empty()) << "nothing rather than half";
    gui::desktop::useUtf8();
    for (const char* text : {"", "plain", "p\xc3\xa4\xe2\x82\xacss", "\xf0\x9f\x94\x92"}) {
        const String original = String::copy(text);
        EXPECT_EQ(tessel::wxToTesselString(tessel::tesselToWxString(original)), original) << text;
    }
    EXPECT_TRUE(tessel::tesselToWxString("\xff\xfe").empty()) << "what is no UTF-8";
}

}  // namespace
}  // namespace nebrix::test
