// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/base/memory.h"
#include "libs/base/string.h"

namespace tessel {

/// Base64 with the standard alphabet (RFC 4648, section 4). May be called on any thread.
class Base64 {
public:
    /// With "=" padding and no line breaks; nothing gives an empty string.
    static String encode(const Memory& bytes);
    static String encode(const String& bytes);
    static String encode(const char* text);
    static String encode(const char* bytes, unsigned length);
    /// Characters that so many bytes encode to: 4 for each group of 3 begun.
    static unsigned sizeEncode(unsigned length) noexcept;

    /// Refuses nothing, whatever the bytes: those outside the alphabet (line breaks, blanks, anything) are passed
    /// over, the first "=" ends the text, and padding may be missing. Of an incomplete last group two characters give
    /// one byte, three give two, and a single one gives none; their surplus bits are ignored. A caller who needs to
    /// know whether the text was well formed compares encode() of the result with it.
    static Memory decode(const Memory& text);
    static Memory decode(const String& text);
    static Memory decode(const char* text);
    static Memory decode(const char* text, unsigned length);
    /// Bytes that a text of so many characters decodes to at most.
    static unsigned sizeDecode(unsigned length) noexcept;
};

}  // namespace tessel
