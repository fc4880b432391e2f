// SPDX-License-Identifier: Apache-2.0
#include <array>

#include "libs/http/uri.h"

// Percent-encoding (RFC 3986, 2.1).

namespace tessel::http {
namespace {

/// What becomes of each byte; the value is also how many bytes it becomes.
enum Fate : unsigned char { kDropped = 0, kKept = 1, kEscaped = 3 };
using Fates = std::array<unsigned char, 256>;

constexpr Fates makeUnreserved() {
    Fates fates{};
    fates.fill(kEscaped);
    for (const char c : std::string_view("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_.~")) {
        fates[static_cast<unsigned char>(c)] = kKept;
    }
    return fates;
}

constexpr Fates kUnreserved = makeUnreserved();
constexpr char kDigits[] = "0123456789ABCDEF";

String encodeBy(const String& text, const Fates& fates) {
    std::size_t sum = 0;
    for (const char c : text.view()) {
        sum += fates[static_cast<unsigned char>(c)];
    }
    const unsigned length = String::total(sum);
    String encoded;
    char* to = encoded.reserve(length);
    for (const char c : text.view()) {
        const auto byte = static_cast<unsigned char>(c);
        if (fates[byte] == kKept) {
            *to++ = c;
        } else if (fates[byte] == kEscaped) {
            to[0] = '%';
            to[1] = kDigits[byte >> 4];
            to[2] = kDigits[byte & 15];
            to += 3;
        }
    }
    encoded.grow(length);
    return encoded;
}

int digitValue(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    const char lower = static_cast<char>(c | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

}  // namespace

String Uri::encode(const String& text) { return encodeBy(text, kUnreserved); }

String Uri::encode(const String& text, const String& keep, const String& drop) {
    Fates fates = kUnreserved;
    for (const char c : keep.view()) {
        fates[static_cast<unsigned char>(c)] = kKept;
    }
    for (const char c : drop.view()) {
        fates[static_cast<unsigned char>(c)] = kDropped;
    }
    return encodeBy(text, fates);
}

String Uri::decode(const String& text) {
    String decoded;
    char* const start = decoded.reserve(text.length());
    char* to = start;
    const char* const end = text.end();
    for (const char* from = text.begin(); from != end; ++from) {
        if (*from == '%' && end - from > 2) {
            const int high = digitValue(from[1]);
            const int low = digitValue(from[2]);
            if (high >= 0 && low >= 0) {
                *to++ = static_cast<char>(high * 16 + low);
                from += 2;
                continue;
            }
        }
        *to++ = *from;
    }
    decoded.grow(static_cast<unsigned>(to - start));
    return decoded;
}

}  // namespace tessel::http
