#include <gtest/gtest.h>

#include <clocale>

#include "apps/nebrixclient/gui/artprovider.h"
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

TEST(Art, hasEveryImageAndLeavesOtherIdsToOthers) {
    NebrixClientArtProvider::init();
    wxArtProvider::Push(new NebrixClientArtProvider);
    const std::pair<const char*, int> images[] = {{"nebrix-config", 16}, {"nebrix-stop", 16}, {"nebrix-logs", 16},
                                                  {"nebrix-logo", 16},   {"nebrix-vpn", 0},   {"nebrix-plugin", 0},
                                                  {"tarn-tray-logo", 0}};
    for (const auto& [id, size] : images) {
        const wxBitmap image = wxArtProvider::GetBitmap(id, wxART_OTHER);
        ASSERT_TRUE(image.IsOk()) << id;
        EXPECT_TRUE(size == 0 || image.GetWidth() == size) << id;
    }
    EXPECT_EQ(wxArtProvider::GetBitmap("nebrix-logo", wxART_MESSAGE_BOX).GetWidth(), 64);
    EXPECT_EQ(wxArtProvider::GetIconBundle("nebrix-logo", wxART_OTHER).GetIconCount(), 2U);
    EXPECT_FALSE(wxArtProvider::GetBitmap("nebrix-nothing", wxART_OTHER).IsOk());
    EXPECT_TRUE(wxArtProvider::GetBitmap(wxART_WARNING, wxART_MENU).IsOk());
    EXPECT_EQ(NebrixClientArtProvider::trayImages().size(), 6U);
}

}  // namespace
}  // namespace nebrix::test
