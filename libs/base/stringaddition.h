#pragma once

#include <new>
#include <utility>

#include "libs/base/string.h"

namespace tessel {

/// A link in the chain of a StringAddition: up to 8 parts, kept as strings (references, not copies of bytes).
///
/// Blocks are not shared and belong to one builder. They come from a small store of their own (see
/// stringadditionstore.h), so that building a chain takes nothing from the heap.
class StringAdditionBlock {
public:
    static constexpr unsigned kParts = 8;

    StringAdditionBlock() noexcept {}
    StringAdditionBlock(const StringAdditionBlock&) = delete;
    StringAdditionBlock& operator=(const StringAdditionBlock&) = delete;
    ~StringAdditionBlock() {}

    static StringAdditionBlock* create();
    /// Drops the parts of the whole chain and gives its blocks back.
    static void destroy(StringAdditionBlock* chain) noexcept;

private:
    friend class StringAddition;
    friend class StringAdditionStore;

    [[nodiscard]] bool full() const noexcept { return m_used == kParts; }
    template <class Part>
    void add(Part&& part) noexcept {
        ::new (&m_parts[m_used++]) String(std::forward<Part>(part));
    }

    StringAdditionBlock* m_next = nullptr;
    // Of the whole chain, kept up to date in its first block only: its end and its bytes. These have 64 bits, so that
    // a sum beyond a String's length is noticed and not wrapped.
    StringAdditionBlock* m_last = this;
    unsigned long m_total = 0;
    unsigned m_used = 0;
    union {
        // Only the first m_used are alive.
        String m_parts[kParts];
    };
};

/// What operator+ yields: references to the parts (never copies of their bytes), joined with one allocation when a
/// String is made of it. A kept StringAddition stays valid as long as it lives, whatever becomes of the parts that
/// were counted strings; C strings in it must outlive it, as for String(const char*).
///
/// A temporary part is taken over instead of counted. Adding a part costs constant time and moving a builder a
/// pointer; copying one costs a reference for each part. Not synchronised, but may be handed to another thread.
class [[nodiscard]] StringAddition {
public:
    template <class Left, class Right>
    StringAddition(Left&& left, Right&& right) : m_first(StringAdditionBlock::create()) {
        put(std::forward<Left>(left));
        put(std::forward<Right>(right));
    }
    StringAddition(const StringAddition& other);
    StringAddition(StringAddition&& other) noexcept : m_first(std::exchange(other.m_first, nullptr)) {}
    StringAddition& operator=(const StringAddition& other);
    StringAddition& operator=(StringAddition&& other) noexcept {
        std::swap(m_first, other.m_first);
        return *this;
    }
    ~StringAddition() {
        if (m_first != nullptr) {
            StringAdditionBlock::destroy(m_first);
        }
    }

    StringAddition& add(String&& part) { return append(std::move(part)); }
    StringAddition& add(const String& part) { return append(part); }
    StringAddition& add(const char* part) { return append(String(part)); }
    StringAddition& add(const StringAddition& other);

    /// Bytes of all parts together; a sum that a String cannot hold aborts.
    [[nodiscard]] unsigned length() const noexcept;
    /// Appends every part, in order, to the text: one reservation.
    void appendTo(String& text) const;

private:
    template <class Part>
    StringAddition& append(Part&& part) {
        if (m_first == nullptr || m_first->m_last->full()) [[unlikely]] {
            link();
        }
        put(std::forward<Part>(part));
        return *this;
    }
    /// Needs a block that is not full.
    void put(const String& part) noexcept {
        m_first->m_total += part.length();
        m_first->m_last->add(part);
    }
    void put(String&& part) noexcept {
        m_first->m_total += part.length();
        m_first->m_last->add(std::move(part));
    }
    void link();
    /// Writes the bytes of all parts, in order.
    void copyTo(char* place) const noexcept;

    // None in a moved-from builder, which is an empty one.
    StringAdditionBlock* m_first = nullptr;
};

// The builder for two pieces.
inline StringAddition operator+(const String& left, const String& right) { return {left, right}; }
inline StringAddition operator+(const String& left, String&& right) { return {left, std::move(right)}; }
inline StringAddition operator+(String&& left, const String& right) { return {std::move(left), right}; }
inline StringAddition operator+(String&& left, String&& right) { return {std::move(left), std::move(right)}; }
inline StringAddition operator+(const String& left, const char* right) { return {left, right}; }
inline StringAddition operator+(String&& left, const char* right) { return {std::move(left), right}; }
inline StringAddition operator+(const char* left, const String& right) { return {left, right}; }
inline StringAddition operator+(const char* left, String&& right) { return {left, std::move(right)}; }

// A further piece behind a builder; a temporary builder is continued, a kept one stays as it is.
inline StringAddition operator+(StringAddition&& left, const String& right) { return std::move(left.add(right)); }
inline StringAddition operator+(StringAddition&& left, String&& right) { return std::move(left.add(std::move(right))); }
inline StringAddition operator+(StringAddition&& left, const char* right) { return std::move(left.add(right)); }
inline StringAddition operator+(StringAddition&& left, const StringAddition& right) {
    return std::move(left.add(right));
}
inline StringAddition operator+(const StringAddition& left, const String& right) {
    return StringAddition(left) + right;
}
inline StringAddition operator+(const StringAddition& left, String&& right) {
    return StringAddition(left) + std::move(right);
}
inline StringAddition operator+(const StringAddition& left, const char* right) { return StringAddition(left) + right; }
inline StringAddition operator+(const StringAddition& left, const StringAddition& right) {
    return StringAddition(left) + right;
}

// A piece in front of a builder.
StringAddition operator+(String&& left, const StringAddition& right);
inline StringAddition operator+(const String& left, const StringAddition& right) { return String(left) + right; }
inline StringAddition operator+(const char* left, const StringAddition& right) { return String(left) + right; }

}  // namespace tessel
