// SPDX-License-Identifier: Apache-2.0
#pragma once

/// Character classes of ASCII, whatever the locale: bytes above 127 belong to none.
namespace tessel::ascii {

constexpr char toLower(char c) noexcept { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; }
constexpr char toUpper(char c) noexcept { return c >= 'a' && c <= 'z' ? static_cast<char>(c - ('a' - 'A')) : c; }
constexpr bool isBlank(char c) noexcept { return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f'; }

}  // namespace tessel::ascii
