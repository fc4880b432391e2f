// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <string_view>

#include "libs/base/string.h"

/// The scanner's character classes and searches. Positions are those of String, String::npos where nothing is found;
/// every search may start at or beyond the end.
namespace tessel::xml {

namespace scan {

constexpr unsigned char kBlank = 1;     ///< space, tab, carriage return, line feed, form feed
constexpr unsigned char kNameEnd = 2;   ///< ends an element's name
constexpr unsigned char kAttrEnd = 4;   ///< ends an attribute's name
constexpr unsigned char kValueEnd = 8;  ///< ends a value without quotes
constexpr unsigned char kUpper = 16;

constexpr std::array<unsigned char, 256> makeClasses() {
    std::array<unsigned char, 256> classes{};
    for (const char c : {' ', '\t', '\r', '\n'}) {
        classes[static_cast<unsigned char>(c)] = kBlank | kNameEnd | kAttrEnd | kValueEnd;
    }
    classes['\f'] = kBlank;
    classes['/'] = kNameEnd | kAttrEnd;
    classes['>'] = kNameEnd | kAttrEnd | kValueEnd;
    classes['='] = kAttrEnd;
    for (unsigned char c = 'A'; c <= 'Z'; ++c) {
        classes[c] = kUpper;
    }
    return classes;
}

inline constexpr std::array<unsigned char, 256> kClasses = makeClasses();

}  // namespace scan

constexpr bool isOf(unsigned char mask, char c) noexcept {
    return (scan::kClasses[static_cast<unsigned char>(c)] & mask) != 0;
}

/// The first byte of one of the classes.
constexpr unsigned findClass(std::string_view text, unsigned char mask, unsigned from) noexcept {
    for (std::size_t at = from; at < text.size(); ++at) {
        if (isOf(mask, text[at])) {
            return static_cast<unsigned>(at);
        }
    }
    return String::npos;
}

/// The first byte that is no blank.
constexpr unsigned skipBlanks(std::string_view text, unsigned from) noexcept {
    for (std::size_t at = from; at < text.size(); ++at) {
        if (!isOf(scan::kBlank, text[at])) {
            return static_cast<unsigned>(at);
        }
    }
    return String::npos;
}

inline unsigned findText(std::string_view text, std::string_view what, unsigned from) noexcept {
    const std::size_t at = text.find(what, from);
    return at == std::string_view::npos ? String::npos : static_cast<unsigned>(at);
}

inline unsigned findByte(std::string_view text, char c, unsigned from) noexcept {
    const std::size_t at = text.find(c, from);
    return at == std::string_view::npos ? String::npos : static_cast<unsigned>(at);
}

inline bool startsAt(std::string_view text, std::string_view what, unsigned at) noexcept {
    return at < text.size() && text.substr(at, what.size()) == what;
}

/// Without blanks at both ends.
constexpr std::string_view trimmed(std::string_view text) noexcept {
    while (!text.empty() && isOf(scan::kBlank, text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && isOf(scan::kBlank, text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

}  // namespace tessel::xml
