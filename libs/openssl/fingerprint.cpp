// SPDX-License-Identifier: Apache-2.0
#include "libs/openssl/fingerprint.h"

namespace tessel::tls {
namespace {

constexpr unsigned kBytes = 32;
constexpr unsigned kDigits = 2 * kBytes;
constexpr int kNoDigit = -1;
constexpr int kTen = 10;

bool separates(char c) { return c == ':' || c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

int digit(char c) {
    const char lower = static_cast<char>(c | 0x20);
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + kTen : kNoDigit;
}

}  // namespace

Memory fingerprintBytes(const String& text) {
    unsigned char bytes[kBytes] = {};
    unsigned digits = 0;
    for (const char c : text) {
        if (separates(c)) {
            continue;
        }
        const int value = digit(c);
        if (value == kNoDigit || digits == kDigits) {
            return {};
        }
        unsigned char& byte = bytes[digits++ / 2];
        byte = static_cast<unsigned char>(byte << 4 | value);
    }
    return digits == kDigits ? Memory::copy(bytes, kBytes) : Memory();
}

String fingerprintText(const String& hex) {
    if (fingerprintBytes(hex).empty() || hex.length() != kDigits) {
        return hex;
    }
    const String upper = hex.upper();
    String text;
    for (unsigned position = 0; position < kDigits; position += 2) {
        text.append(position == 0 ? String() : String(":"), upper.range(position, position + 2));
    }
    return text;
}

}  // namespace tessel::tls
