// SPDX-License-Identifier: Apache-2.0
#include "libs/base/base64.h"

#include <array>
#include <cstdint>

#include "libs/base/base64wide.h"

namespace tessel {

namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr unsigned char kForeign = 0x80;

/// The value of each byte as a character of the alphabet; kForeign for all others.
constexpr std::array<unsigned char, 256> makeValues() {
    std::array<unsigned char, 256> values{};
    values.fill(kForeign);
    for (unsigned char i = 0; i < 64; ++i) {
        values[static_cast<unsigned char>(kAlphabet[i])] = i;
    }
    return values;
}

constexpr std::array<unsigned char, 256> kValues = makeValues();

const unsigned char* bytesOf(const char* text) noexcept { return reinterpret_cast<const unsigned char*>(text); }

/// The four characters of one group; `length` is 3, or 1 or 2 at the end, where padding takes the place.
void encodeGroup(const unsigned char* bytes, std::size_t length, char* place) noexcept {
    const unsigned second = length > 1 ? bytes[1] : 0;
    const unsigned third = length > 2 ? bytes[2] : 0;
    const unsigned group = (unsigned{bytes[0]} << 16U) | (second << 8U) | third;
    place[0] = kAlphabet[group >> 18U];
    place[1] = kAlphabet[(group >> 12U) & 63U];
    place[2] = length > 1 ? kAlphabet[(group >> 6U) & 63U] : '=';
    place[3] = length > 2 ? kAlphabet[group & 63U] : '=';
}

void encodeTo(const unsigned char* bytes, std::size_t length, char* place) noexcept {
    const std::size_t wide = base64::encodeWide(bytes, length, place);
    place += wide / 3 * 4;
    std::size_t done = wide;
    for (; length - done >= 3; done += 3, place += 4) {
        encodeGroup(bytes + done, 3, place);
    }
    if (done < length) {
        encodeGroup(bytes + done, length - done, place);
    }
}

unsigned char* putGroup(unsigned group, unsigned char* place) noexcept {
    place[0] = static_cast<unsigned char>(group >> 16U);
    place[1] = static_cast<unsigned char>(group >> 8U);
    place[2] = static_cast<unsigned char>(group);
    return place + 3;
}

/// Whole groups without foreign bytes, from the front; moves both positions on.
void decodeGroups(const unsigned char*& text, const unsigned char* end, unsigned char*& place) noexcept {
    for (; end - text >= 4; text += 4) {
        const unsigned a = kValues[text[0]];
        const unsigned b = kValues[text[1]];
        const unsigned c = kValues[text[2]];
        const unsigned d = kValues[text[3]];
        if (((a | b | c | d) & kForeign) != 0) {
            return;
        }
        place = putGroup((a << 18U) | (b << 12U) | (c << 6U) | d, place);
    }
}

/// Returns the end of what was written, sizeDecode() bytes at most.
unsigned char* decodeTo(const unsigned char* text, const unsigned char* end, unsigned char* place) noexcept {
    unsigned group = 0;
    unsigned count = 0;
    decodeGroups(text, end, place);
    for (; text != end && *text != '='; ++text) {
        const unsigned value = kValues[*text];
        if (value == kForeign) {
            continue;
        }
        group = (group << 6U) | value;
        if (++count == 4) {
            place = putGroup(group, place);
            group = 0;
            count = 0;
            const unsigned char* next = text + 1;
            decodeGroups(next, end, place);
            text = next - 1;
        }
    }
    if (count >= 2) {
        *place++ = static_cast<unsigned char>(group >> (count * 6 - 8));
    }
    if (count == 3) {
        *place++ = static_cast<unsigned char>(group >> 2U);
    }
    return place;
}

}  // namespace

unsigned Base64::sizeEncode(unsigned length) noexcept { return length == 0 ? 0 : (length - 1) / 3 * 4 + 4; }

String Base64::encode(const char* bytes, unsigned length) {
    String result;
    if (length == 0) {
        return result;
    }
    TESSEL_ASSERT((std::uint64_t{length} + 2) / 3 * 4 < String::npos, "upperSize >= size", sites::kPoolUpperSizeFits);
    const unsigned size = sizeEncode(length);
    encodeTo(bytesOf(bytes), length, result.reserve(size));
    result.grow(size);
    return result;
}

String Base64::encode(const Memory& bytes) { return encode(bytes.view().data(), bytes.length()); }

String Base64::encode(const String& bytes) { return encode(bytes.array(), bytes.length()); }

String Base64::encode(const char* text) { return encode(text, String::length(text)); }

unsigned Base64::sizeDecode(unsigned length) noexcept {
    const unsigned rest = length % 4;
    return length / 4 * 3 + (rest == 0 ? 0 : rest - 1);
}

Memory Base64::decode(const char* text, unsigned length) {
    Memory result;
    if (const unsigned size = sizeDecode(length); size != 0) {
        unsigned char* place = result.reserve(size);
        const unsigned char* end = decodeTo(bytesOf(text), bytesOf(text) + length, place);
        result.grow(static_cast<unsigned>(end - place));
    }
    return result;
}

Memory Base64::decode(const Memory& text) { return decode(text.view().data(), text.length()); }

Memory Base64::decode(const String& text) { return decode(text.array(), text.length()); }

Memory Base64::decode(const char* text) { return decode(text, String::length(text)); }

}  // namespace tessel
