// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>
#include <utility>

#include "libs/base/memoryblock.h"
#include "libs/base/string.h"

namespace tessel {

/// A byte buffer on the same storage as String and with the same rules: a copy shares the block and costs no
/// allocation, a change copies first unless this buffer is the block's only user. Without a block it views static
/// bytes.
///
/// A String and a Memory made of one another share their bytes. A value is not synchronised; values that share a
/// block may be used on different threads. Nothing here raises, except std::bad_alloc; a total beyond
/// String::kMaxLength aborts.
class Memory {
public:
    constexpr Memory() noexcept = default;
    Memory(const String& text) noexcept;
    /// Joins the parts with one allocation.
    Memory(const StringAddition& addition);
    /// Views bytes that lie in the block or, with an empty block, outlive the buffer and all that is made of it.
    Memory(const void* bytes, unsigned length, gc::Pointer<MemoryBlock> block);
    Memory(const Memory&) noexcept = default;
    Memory(Memory&& other) noexcept
        : m_length(std::exchange(other.m_length, 0)),
          m_block(std::move(other.m_block)),
          m_data(std::exchange(other.m_data, "")) {}
    Memory& operator=(const Memory&) noexcept = default;
    Memory& operator=(Memory&& other) noexcept {
        Memory(std::move(other)).swap(*this);
        return *this;
    }
    void swap(Memory& other) noexcept {
        std::swap(m_length, other.m_length);
        m_block.swap(other.m_block);
        std::swap(m_data, other.m_data);
    }
    ~Memory() = default;

    /// For bytes whose storage is temporary.
    [[nodiscard]] static Memory copy(const void* bytes, unsigned length);

    [[nodiscard]] unsigned length() const noexcept { return m_length; }
    [[nodiscard]] bool empty() const noexcept { return m_length == 0; }
    unsigned char operator[](unsigned position) const noexcept { return begin()[position]; }
    [[nodiscard]] const unsigned char* array() const noexcept { return begin(); }
    [[nodiscard]] const unsigned char* begin() const noexcept { return reinterpret_cast<const unsigned char*>(m_data); }
    [[nodiscard]] const unsigned char* end() const noexcept { return begin() + m_length; }
    // The standard library's names of array() and length(), by which a buffer turns into a std::span.
    [[nodiscard]] const unsigned char* data() const noexcept { return begin(); }
    [[nodiscard]] std::size_t size() const noexcept { return m_length; }
    /// The same bytes as text.
    [[nodiscard]] std::string_view view() const noexcept { return {m_data, m_length}; }
    /// The storage, or empty when the buffer views static bytes.
    [[nodiscard]] const gc::Pointer<MemoryBlock>& block() const noexcept { return m_block; }

    friend bool operator==(const Memory& left, const Memory& right) noexcept { return left.view() == right.view(); }

    Memory& append(const unsigned char* bytes, unsigned length);
    Memory& append(unsigned char byte);
    Memory& append(unsigned count, unsigned char byte);
    Memory& append(const Memory& bytes);
    Memory& append(const String& text);
    Memory& operator+=(const Memory& bytes) { return append(bytes); }
    friend Memory operator+(const Memory& left, const Memory& right);

    /// Makes room for `extra` more bytes and returns the place where they go; the caller then takes them over with
    /// grow().
    unsigned char* reserve(unsigned extra);
    void grow(unsigned written) noexcept { m_length += written; }
    /// Sets the length: cuts, or fills with zero bytes.
    void resize(unsigned length);
    /// A position beyond the end changes nothing.
    void setAt(unsigned position, unsigned char byte);
    /// A private copy of the bytes.
    [[nodiscard]] Memory clone() const;

    /// Two lower-case hexadecimal digits for each byte, no separators.
    [[nodiscard]] String toHex() const;
    /// One line for each 16 bytes: offset in six hexadecimal digits, the bytes in hexadecimal, the bytes as ASCII
    /// text with "." for what cannot be printed.
    [[nodiscard]] static String hexdump(const Memory& bytes);

private:
    friend class String;

    // Invariant as in String: never null, lies in m_block or, without a block, in static bytes.
    unsigned m_length = 0;
    gc::Pointer<MemoryBlock> m_block;
    const char* m_data = "";
};

}  // namespace tessel
