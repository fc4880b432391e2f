#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "apps/nebrixclient/view/endtext.h"
#include "libs/base/printable.h"

namespace tessel::view {
namespace {

TEST(EndText, quotesTheGatewayInOneLineThatFits) {
    const auto told = [](const std::string& words) {
        const EndText text = failureText({.kind = EndKind::Refused, .text = String::copy(words)});
        return text.key + ("|" + std::string(text.fill.value_or("").view()));
    };
    EXPECT_EQ(told(""), "END_REFUSED_SILENTLY|");
    EXPECT_EQ(told("50 % & more\r\n\x1b[31m"), "END_REFUSED %s|50 % & more  \\x1b[31m");
    // Cut in the middle, between characters.
    for (std::size_t shift = 0; shift < 4; ++shift) {
        std::string words(shift, 'x');
        for (int i = 0; i < 300; ++i) {
            words += "€";
        }
        const std::string line = told(words);
        const auto characters = std::count_if(line.begin(), line.end(), [](char c) { return (c & 0xC0) != 0x80; });
        EXPECT_EQ(characters, 200 + 15) << "with the key in front";
        EXPECT_TRUE(isPrintable(line) && line.ends_with("€")) << line;
    }
}

}  // namespace
}  // namespace tessel::view
