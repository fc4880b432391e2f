// SPDX-License-Identifier: Apache-2.0
#include "libs/base/string.h"

#include <algorithm>
#include <ostream>

#include "libs/base/memory.h"
#include "libs/base/memoryblockpool.h"

namespace tessel {

namespace {

/// A union member is not destroyed: globals of any file may use String::null until the process ends.
union Immortal {
    constexpr Immortal() noexcept : value() {}
    ~Immortal() {}
    String value;
};

constinit Immortal g_null;

}  // namespace

constinit const String& String::null = g_null.value;

String::String(std::string_view text) { append(text); }

String::String(const Memory& memory) : String(memory.m_block, memory.m_data, memory.m_length, false) {}

String String::copy(const char* text) { return copy(text, measure(text)); }

String String::copy(std::string_view text) { return String(text); }

String String::copy(const char* text, unsigned length) {
    String result;
    result.append(text, length);
    return result;
}

void String::terminate() const {
    // The second reference makes reserving copy, also for a sole owner: other values may view what lies behind.
    const gc::Pointer<MemoryBlock> keep = m_block;
    reserveBehind(m_block, m_string, m_length, 0);
    m_terminated = true;
}

gc::Pointer<MemoryBlock> String::keepFor(const char* text) const noexcept {
    const MemoryBlock* block = m_block.uget();
    return block != nullptr && block->holds(text) ? m_block : gc::Pointer<MemoryBlock>();
}

char* String::reserve(unsigned extra) {
    // Until grow() says where the text ends now.
    m_terminated = false;
    return reserveBehind(m_block, m_string, m_length, extra);
}

String& String::append(const char* text, unsigned length) {
    if (length != 0) {
        const gc::Pointer<MemoryBlock> keep = keepFor(text);
        std::memcpy(reserve(length), text, length);
        grow(length);
    }
    return *this;
}

String& String::append(const char* text) { return append(text, measure(text)); }

String& String::append(const String& text) { return append(text.m_string, text.m_length); }

String& String::append(std::string_view text) { return append(text.data(), total(text.size())); }

String& String::append(const StringAddition& addition) {
    addition.appendTo(*this);
    return *this;
}

String& String::append(unsigned count, char c) {
    if (count != 0) {
        std::memset(reserve(count), c, count);
        grow(count);
    }
    return *this;
}

String& String::appendPieces(std::initializer_list<std::string_view> pieces) {
    std::size_t sum = 0;
    gc::Pointer<MemoryBlock> keep;
    for (const std::string_view piece : pieces) {
        sum += piece.size();
        if (!keep.valid()) {
            keep = keepFor(piece.data());
        }
    }
    const unsigned length = total(sum);
    if (length == 0) {
        return *this;
    }
    char* place = reserve(length);
    for (const std::string_view piece : pieces) {
        place = std::copy(piece.begin(), piece.end(), place);
    }
    grow(length);
    return *this;
}

void String::resize(unsigned length) {
    if (length <= m_length) {
        cut(length);
    } else {
        append(length - m_length, '\0');
    }
}

void String::cut(unsigned position) noexcept {
    if (position < m_length) {
        m_length = position;
        m_terminated = false;
    }
}

void String::setAt(unsigned position, char c) {
    if (position < m_length) {
        *(reserve(0) - m_length + position) = c;
        m_terminated = true;  // reserve() has ended the text as it is
    }
}

String String::clone() const { return copy(m_string, m_length); }

String String::glue(const Strings& items) const {
    std::size_t sum = items.empty() ? 0 : std::size_t{m_length} * (items.size() - 1);
    for (const String& item : items) {
        sum += item.length();
    }
    const unsigned length = total(sum);
    String result;
    if (length == 0) {
        return result;
    }
    char* place = result.reserve(length);
    for (const String& item : items) {
        if (&item != &items.front()) {
            place = std::copy(begin(), end(), place);
        }
        place = std::copy(item.begin(), item.end(), place);
    }
    result.grow(length);
    return result;
}

std::ostream& operator<<(std::ostream& out, const String& text) { return out << text.view(); }

}  // namespace tessel
