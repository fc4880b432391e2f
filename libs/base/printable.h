// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

#include "libs/base/string.h"

namespace tessel {

/// Text of others as it may stand in one line of a log or a terminal.
///
/// Written as "\xNN", byte by byte, are: control bytes (below 0x20, and 0x7f), the control characters U+0080 to U+009F,
/// what breaks lines or turns the reading direction unseen (U+061C, U+200E, U+200F, U+2028 to U+202E, U+2066 to
/// U+2069), and bytes that are no UTF-8 (RFC 3629), which a terminal may read as controls. All else stays as it is, a
/// backslash too: the result is for people and cannot be turned back. Plain ASCII costs about an eighth of a
/// comparison a byte.
///
/// Whether the text may stand as it is.
bool isPrintable(std::string_view text) noexcept;
/// Whether the text is UTF-8 (RFC 3629), whatever its characters do.
bool isUtf8(std::string_view text) noexcept;
/// Appends the text; stops soon after `out` has grown beyond `longest` bytes.
void appendPrintable(std::string& out, std::string_view text, std::size_t longest = std::string::npos);
/// The same as a value, which shares the text's bytes when they may stand as they are.
String printable(const String& text);

}  // namespace tessel
