// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/view/displaytext.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "libs/base/printable.h"

namespace tessel::view {

namespace {

constexpr std::string_view kEllipsis = "\xE2\x80\xA6";

/// Whether the byte is not a character's first.
constexpr bool continues(char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U; }

constexpr std::size_t kLongest = 4;  // bytes of a character (RFC 3629)

/// Where the characters from `start` on end, at most so many of them.
std::size_t endOf(std::string_view text, std::size_t start, unsigned characters) {
    std::size_t end = start;
    for (; end < text.size() && characters > 0; --characters) {
        const std::size_t first = end++;
        while (end < text.size() && end - first < kLongest && continues(text[end])) {
            ++end;
        }
    }
    return end;
}

std::string_view lastCharacters(std::string_view text, unsigned characters) {
    std::size_t begin = text.size();
    for (; begin > 0 && characters > 0; --characters) {
        const std::size_t end = begin--;
        while (begin > 0 && end - begin < kLongest && continues(text[begin])) {
            --begin;
        }
    }
    return text.substr(begin);
}

std::string cut(std::string_view text, unsigned most) {
    if (endOf(text, 0, most) == text.size()) {
        return std::string(text);
    }
    const unsigned kept = most == 0 ? 0 : most - 1;
    const std::string_view end = lastCharacters(text, kept / 2);
    return std::string(text.substr(0, endOf(text, 0, kept - kept / 2))).append(kEllipsis).append(end);
}

}  // namespace

String forLabel(const String& text, unsigned most) {
    std::string line = cut(text.view(), most);
    std::replace_if(
        line.begin(), line.end(), [](char c) { return c >= '\t' && c <= '\r'; }, ' ');
    std::string shown;
    appendPrintable(shown, line);
    return String::copy(shown);
}

String forToolTip(const String& text, unsigned most, unsigned columns) {
    const String whole = forLabel(text, most);
    std::string lines;
    for (std::size_t begin = 0; begin < whole.length();) {
        const std::size_t end = endOf(whole.view(), begin, columns);
        lines.append(lines.empty() ? "" : "\n").append(whole.view().substr(begin, end - begin));
        begin = end;
    }
    return String::copy(lines);
}

}  // namespace tessel::view
