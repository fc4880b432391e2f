// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>

#include "apps/nebrixclient/view/endtext.h"

namespace tessel::view {
namespace {

TEST(EndText, quotesTheGatewayInOneLineThatFits) {
    const auto told = [](const std::string& words) {
        const EndText text = failureText({.kind = EndKind::Refused, .text = String::copy(words)});
        return text.key + ("|" + std::string(text.fill.value_or("").view()));
    };
    EXPECT_EQ(told(""), "END_REFUSED_SILENTLY|");
    EXPECT_EQ(told("50 % & more\r\n\x1b[31m"), "END_REFUSED %s|50 % & more  \\x1b[31m");
    EXPECT_EQ(told(std::string(201, 'x')), "END_REFUSED %s|" + std::string(100, 'x') + "\u2026" + std::string(99, 'x'));
}

}  // namespace
}  // namespace tessel::view
