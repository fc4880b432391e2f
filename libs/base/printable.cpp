// SPDX-License-Identifier: Apache-2.0
#include "libs/base/printable.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

namespace tessel {

namespace {

/// Whether all bytes are ASCII and none is a control byte.
bool isPlain(std::string_view text) noexcept {
    // Eight bytes at a time; a byte may be taken for a control byte wrongly only above one that is.
    constexpr std::uint64_t kOnes = 0x0101010101010101;
    std::uint64_t found = 0;
    while (text.size() >= sizeof(std::uint64_t)) {
        std::uint64_t bytes = 0;
        std::memcpy(&bytes, text.data(), sizeof bytes);
        const std::uint64_t deleted = bytes ^ (kOnes * 0x7f);
        found |= (bytes - kOnes * 0x20) | (deleted - kOnes) | bytes;
        text.remove_prefix(sizeof bytes);
    }
    const auto plain = [](char c) { return c >= 0x20 && c < 0x7f; };
    return (found & (kOnes * 0x80)) == 0 && std::all_of(text.begin(), text.end(), plain);
}

/// Characters that show nothing and change what is around them.
constexpr bool isHidden(unsigned character) noexcept {
    return character < 0x20 || (character >= 0x7f && character < 0xa0) || character == 0x61c || character == 0x200e ||
           character == 0x200f || (character >= 0x2028 && character <= 0x202e) ||
           (character >= 0x2066 && character <= 0x2069);
}

/// Length of the UTF-8 character that the text (not empty) begins with; 0 when it begins with none.
std::size_t decode(std::string_view text, unsigned& character) noexcept {
    const unsigned first = static_cast<unsigned char>(text.front());
    const std::size_t length = first < 0x80 ? 1 : first < 0xe0 ? 2 : first < 0xf0 ? 3 : 4;
    if (length > text.size() || (first >= 0x80 && first < 0xc2) || first > 0xf4) {
        return 0;
    }
    character = length == 1 ? first : first & (0x7fU >> length);
    for (const char c : text.substr(1, length - 1)) {
        const unsigned byte = static_cast<unsigned char>(c);
        if ((byte & 0xc0U) != 0x80) {
            return 0;
        }
        character = character << 6U | (byte & 0x3fU);
    }
    constexpr std::array<unsigned, 5> kLeast = {0, 0, 0x80, 0x800, 0x10000};
    const bool surrogate = character >= 0xd800 && character < 0xe000;
    return character < kLeast[length] || character > 0x10ffff || surrogate ? 0 : length;
}

/// Cuts off the first character, or the first byte of what is none; whether it may stand as it is.
bool takeOne(std::string_view& text, std::string_view& piece) noexcept {
    unsigned character = 0;
    const std::size_t length = decode(text, character);
    piece = text.substr(0, std::max<std::size_t>(length, 1));
    text.remove_prefix(piece.size());
    return length != 0 && !isHidden(character);
}

}  // namespace

bool isPrintable(std::string_view text) noexcept {
    if (isPlain(text)) [[likely]] {
        return true;
    }
    std::string_view piece;
    while (!text.empty()) {
        if (!takeOne(text, piece)) {
            return false;
        }
    }
    return true;
}

bool isUtf8(std::string_view text) noexcept {
    while (!text.empty()) {
        unsigned character = 0;
        const std::size_t length = decode(text, character);
        if (length == 0) {
            return false;
        }
        text.remove_prefix(length);
    }
    return true;
}

void appendPrintable(std::string& out, std::string_view text, std::size_t longest) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string_view piece;
    while (!text.empty() && out.size() <= longest) {
        if (takeOne(text, piece)) {
            out += piece;
            continue;
        }
        for (const char c : piece) {
            out += "\\x";
            out += kDigits[static_cast<unsigned char>(c) >> 4U];
            out += kDigits[static_cast<unsigned char>(c) & 15U];
        }
    }
}

String printable(const String& text) {
    if (isPrintable(text.view())) {
        return text;
    }
    std::string shown;
    appendPrintable(shown, text.view());
    return String::copy(shown);
}

}  // namespace tessel
