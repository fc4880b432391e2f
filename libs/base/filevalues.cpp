// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include "libs/base/filedetail.h"
#include "libs/base/numbers.h"
#include "libs/base/runtimesites.h"

// Typed reading: what File offers beyond bytes.
namespace tessel {

namespace {

constexpr char kEndsEarly[] = "the file is shorter than it should be";
constexpr char kOtherValue[] = "another value was expected there";

[[noreturn]] void raiseShort(const String& path, const char* words = kEndsEarly) {
    raise<EFile>("EFile", sites::kFileShort, {.subject = path, .words = words});
}

bool isNumberPart(char c) { return (c >= '0' && c <= '9') || c == '-' || c == '+'; }
bool isLetter(char c) { return c >= 'a' && c <= 'z'; }

}  // namespace

/// A String or Memory of n bytes; on failure the value stays as it is.
template <class Value>
void File::take(Value& value, unsigned n) {
    if (n > left()) {
        raiseShort(m_path);
    }
    if (n > String::kMaxLength) {
        raiseFile(sites::kFileTooLong, m_path, EFBIG);
    }
    Value bytes;
    const unsigned got = read(reinterpret_cast<char*>(bytes.reserve(n)), n);
    bytes.grow(got);
    if (got != n) {
        raiseShort(m_path);
    }
    value = std::move(bytes);
}

void File::read(Memory& value, unsigned n) { take(value, n); }
void File::read(Memory& value) { take(value, told(left())); }
void File::read(String& value) { take(value, told(left())); }

void File::read(char& value) {
    if (read(&value, 1) != 1) {
        raiseShort(m_path);
    }
}

void File::read(unsigned char& value) {
    char byte = 0;
    read(byte);
    value = static_cast<unsigned char>(byte);
}

bool File::peek(char& next) {
    if (m_dirty) {
        flush();
    }
    if (m_begin == m_end) {
        fill();
    }
    if (m_begin == m_end) {
        return false;
    }
    next = m_buffer[m_begin];
    return true;
}

String File::readWord(bool (*belongs)(char)) {
    constexpr unsigned kLongest = 32;
    String word;
    char next = 0;
    for (; word.length() < kLongest && peek(next) && belongs(next); ++m_begin) {
        word.append(1, next);
    }
    if (word.empty()) {
        raiseShort(m_path, peek(next) ? kOtherValue : kEndsEarly);
    }
    return word;
}

void File::read(int& value) { value = toInt32(readWord(&isNumberPart)); }
void File::read(unsigned& value) { value = toUint32(readWord(&isNumberPart)); }
void File::read(short& value) { value = toInt16(readWord(&isNumberPart)); }
void File::read(unsigned short& value) { value = toUint16(readWord(&isNumberPart)); }

void File::read(bool& value) {
    const String word = readWord(&isLetter);
    if (!(word == "true") && !(word == "false")) {
        raiseShort(m_path, kOtherValue);
    }
    value = word == "true";
}

}  // namespace tessel
