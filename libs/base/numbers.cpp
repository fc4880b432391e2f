// SPDX-License-Identifier: Apache-2.0
#include "libs/base/numbers.h"

#include <charconv>
#include <concepts>
#include <cstdio>
#include <type_traits>

#include "libs/base/ascii.h"
#include "libs/base/memoryblockpool.h"

namespace tessel {

namespace {

constexpr unsigned kNotADigit = 255;

/// Bytes that each form needs, with its final NUL.
constexpr unsigned kSize32 = 12;
constexpr unsigned kSize64 = 21;
constexpr unsigned kSizeAddress = 19;
constexpr unsigned kSizeHex = 9;
constexpr unsigned kSizeFormatted = 256;

template <class T>
String format(T value, unsigned size, int base = 10) {
    MemoryBlock* block = memoryBlockPool.create(size);
    // The sizes leave room for every value, so to_chars() does not fail.
    char* end = std::to_chars(block->data(), block->data() + size - 1, value, base).ptr;
    *end = '\0';
    return String::fromFresh(block, static_cast<unsigned>(end - block->data()));
}

/// What snprintf printed into a fresh block; a text that did not fit is as long as the room.
String printed(MemoryBlock* block, unsigned size, int count) noexcept {
    if (count < 0) {
        block->data()[0] = '\0';
        count = 0;
    }
    const auto length = static_cast<unsigned>(count);
    return String::fromFresh(block, length < size ? length : size - 1);
}

constexpr unsigned digitOf(char c) noexcept {
    if (c >= '0' && c <= '9') {
        return static_cast<unsigned>(c - '0');
    }
    const char lowered = ascii::toLower(c);
    return lowered >= 'a' && lowered <= 'z' ? static_cast<unsigned>(lowered - 'a') + 10 : kNotADigit;
}

bool hexPrefix(const char* text, const char* end) noexcept {
    return end - text >= 2 && text[0] == '0' && ascii::toLower(text[1]) == 'x';
}

/// Decimal digits up to the first other byte; wraps.
template <std::unsigned_integral T>
T decimal(const char* text, const char* end) noexcept {
    T value = 0;
    for (; text != end; ++text) {
        const unsigned digit = static_cast<unsigned char>(*text) - unsigned{'0'};
        if (digit > 9) {
            break;
        }
        value = value * 10 + digit;
    }
    return value;
}

template <std::unsigned_integral T>
T magnitude(const char* text, const char* end, int base) noexcept {
    if (base == 10) {
        return decimal<T>(text, end);
    }
    if (base == 0) {
        base = hexPrefix(text, end) ? 16 : (text != end && *text == '0') ? 8 : 10;
    }
    if (base == 16 && hexPrefix(text, end)) {
        text += 2;
    }
    // A base below 1 has no digits.
    const auto limit = static_cast<unsigned>(base > 0 ? base : 0);
    T value = 0;
    for (; text != end; ++text) {
        const unsigned digit = digitOf(*text);
        if (digit >= limit || digit == kNotADigit) {
            break;
        }
        value = value * limit + digit;
    }
    return value;
}

/// All arithmetic is unsigned and at least 32 bits wide, where wrapping is defined; cutting the result to T gives the
/// same as wrapping in T at every step.
template <class T>
T parse(std::string_view text, int base) noexcept {
    using Wide = std::conditional_t<(sizeof(T) > sizeof(unsigned)), unsigned long, unsigned>;
    if (text.empty()) {
        return 0;
    }
    const bool negative = text.front() == '-';
    const char* const digits = text.data() + (negative || text.front() == '+' ? 1 : 0);
    const Wide value = magnitude<Wide>(digits, text.data() + text.size(), base);
    return static_cast<T>(negative ? Wide{0} - value : value);
}

}  // namespace

String toString(int value) { return format(value, kSize32); }
String toString(unsigned value) { return format(value, kSize32); }
String toString(long value) { return format(value, kSize64); }
String toString(unsigned long value) { return format(value, kSize64); }
String toString(short value) { return format(int{value}, kSize32); }
String toString(unsigned short value) { return format(unsigned{value}, kSize32); }
String toString(unsigned char value) { return format(unsigned{value}, kSize32); }
String toString(bool value) { return value ? "true" : "false"; }

String toString(const void* address) {
    MemoryBlock* block = memoryBlockPool.create(kSizeAddress);
    return printed(block, kSizeAddress, std::snprintf(block->data(), kSizeAddress, "%p", address));
}

String toString(unsigned value, const char* format) {
    MemoryBlock* block = memoryBlockPool.create(kSizeFormatted);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    const int count = std::snprintf(block->data(), kSizeFormatted, format, value);
#pragma GCC diagnostic pop
    return printed(block, kSizeFormatted, count);
}

String uint32ToHex(unsigned value) { return format(value, kSizeHex, 16); }
String uint16ToHex(unsigned short value) { return format(unsigned{value}, kSizeHex, 16); }

int toInt32(std::string_view text, int base) noexcept { return parse<int>(text, base); }
unsigned toUint32(std::string_view text, int base) noexcept { return parse<unsigned>(text, base); }
short toInt16(std::string_view text, int base) noexcept { return parse<short>(text, base); }
unsigned short toUint16(std::string_view text, int base) noexcept { return parse<unsigned short>(text, base); }
long toLong(std::string_view text, int base) noexcept { return parse<long>(text, base); }
unsigned long toUint64(std::string_view text, int base) noexcept { return parse<unsigned long>(text, base); }
unsigned hexToUint32(std::string_view text) noexcept { return toUint32(text, 16); }

int smartIntConversion(const char* text, unsigned length, int fallback) noexcept {
    if (length == 0) {
        return fallback;
    }
    for (unsigned i = 0; i < length; ++i) {
        if (text[i] < '0' || text[i] > '9') {
            return fallback;
        }
    }
    return static_cast<int>(decimal<unsigned>(text, text + length));
}

}  // namespace tessel
