// SPDX-License-Identifier: Apache-2.0
#include "libs/base/memory.h"

#include <algorithm>
#include <cstdio>

#include "libs/base/memoryblockpool.h"

namespace tessel {

namespace {

constexpr char kDigits[] = "0123456789abcdef";

const char* charsOf(const unsigned char* bytes) noexcept { return reinterpret_cast<const char*>(bytes); }

}  // namespace

Memory::Memory(const String& text) noexcept : m_length(text.m_length), m_block(text.m_block), m_data(text.m_string) {}

Memory::Memory(const StringAddition& addition) : Memory(String(addition)) {}

Memory::Memory(const void* bytes, unsigned length, gc::Pointer<MemoryBlock> block)
    : m_length(length), m_block(std::move(block)), m_data(static_cast<const char*>(bytes)) {
    TESSEL_ASSERT(bytes != nullptr, "m_string", sites::kStringView);
}

Memory Memory::copy(const void* bytes, unsigned length) {
    Memory result;
    result.append(static_cast<const unsigned char*>(bytes), length);
    return result;
}

unsigned char* Memory::reserve(unsigned extra) {
    return reinterpret_cast<unsigned char*>(reserveBehind(m_block, m_data, m_length, extra));
}

Memory& Memory::append(const unsigned char* bytes, unsigned length) {
    if (length != 0) {
        // Held in case the bytes are a part of this buffer.
        const MemoryBlock* own = m_block.uget();
        const gc::Pointer<MemoryBlock> keep =
            own != nullptr && own->holds(charsOf(bytes)) ? m_block : gc::Pointer<MemoryBlock>();
        std::copy_n(bytes, length, reserve(length));
        m_length += length;
    }
    return *this;
}

Memory& Memory::append(unsigned char byte) { return append(1U, byte); }

Memory& Memory::append(unsigned count, unsigned char byte) {
    if (count != 0) {
        std::fill_n(reserve(count), count, byte);
        m_length += count;
    }
    return *this;
}

Memory& Memory::append(const Memory& bytes) { return append(bytes.array(), bytes.length()); }

Memory& Memory::append(const String& text) { return append(Memory(text)); }

Memory operator+(const Memory& left, const Memory& right) {
    if (left.empty() || right.empty()) {
        return left.empty() ? right : left;
    }
    Memory result;
    result.reserve(String::total(std::size_t{left.length()} + right.length()));
    return result.append(left).append(right);
}

void Memory::resize(unsigned length) {
    if (length <= m_length) {
        m_length = length;
    } else {
        append(length - m_length, 0);
    }
}

void Memory::setAt(unsigned position, unsigned char byte) {
    if (position < m_length) {
        *(reserve(0) - m_length + position) = byte;
    }
}

Memory Memory::clone() const { return copy(m_data, m_length); }

String Memory::toHex() const {
    String result;
    if (m_length == 0) {
        return result;
    }
    const unsigned length = String::total(std::size_t{m_length} * 2);
    char* place = result.reserve(length);
    for (const unsigned char byte : *this) {
        *place++ = kDigits[byte >> 4U];
        *place++ = kDigits[byte & 15U];
    }
    result.grow(length);
    return result;
}

String Memory::hexdump(const Memory& bytes) {
    constexpr unsigned kRow = 16;
    String result;
    for (unsigned offset = 0; offset < bytes.length(); offset += kRow) {
        char label[16];
        const int labelled = std::snprintf(label, sizeof label, "%06x: ", offset);
        result.append(label, static_cast<unsigned>(labelled));
        const unsigned count = std::min(kRow, bytes.length() - offset);
        char row[kRow * 3 + 1 + kRow + 1];
        char* place = row;
        for (unsigned i = 0; i < kRow; ++i) {
            const unsigned byte = i < count ? bytes[offset + i] : 0;
            *place++ = i < count ? kDigits[byte >> 4U] : ' ';
            *place++ = i < count ? kDigits[byte & 15U] : ' ';
            *place++ = ' ';
        }
        *place++ = ' ';
        for (unsigned i = 0; i < count; ++i) {
            const unsigned char byte = bytes[offset + i];
            *place++ = byte >= 0x20 && byte < 0x7f ? static_cast<char>(byte) : '.';
        }
        *place++ = '\n';
        result.append(row, static_cast<unsigned>(place - row));
        if (bytes.length() - offset <= kRow) {
            break;
        }
    }
    return result;
}

}  // namespace tessel
