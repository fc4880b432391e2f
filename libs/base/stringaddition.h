// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <new>
#include <string_view>
#include <utility>

#include "libs/base/string.h"

namespace tessel {

/// A link in the chain of a StringAddition: up to 8 parts, kept as strings (references, not copies of bytes).
///
/// Blocks are not shared and belong to one builder, which knows how many parts are alive in the last one; all others
/// are full. They come from a small store of their own (see stringadditionstore.h), so that building a chain takes
/// nothing from the heap.
class StringAdditionBlock {
public:
    static constexpr unsigned kParts = 8;

    StringAdditionBlock() noexcept {}
    StringAdditionBlock(const StringAdditionBlock&) = delete;
    StringAdditionBlock& operator=(const StringAdditionBlock&) = delete;
    ~StringAdditionBlock() {}

    /// A new block, linked behind `last` if there is one.
    static StringAdditionBlock* create(StringAdditionBlock* last);

private:
    friend class StringAddition;

    /// Parts alive here, if the chain's last block has so many free places.
    [[nodiscard]] unsigned used(unsigned freeInLast) const noexcept {
        return kParts - (m_next == nullptr ? freeInLast : 0);
    }

    StringAdditionBlock* m_next = nullptr;
    union {
        String m_parts[kParts];
    };
};

/// What operator+ yields: references to the parts (never copies of their bytes), joined with one allocation when a
/// String is made of it. A kept StringAddition stays valid as long as it lives, whatever becomes of the parts that
/// were counted strings; C strings and views in it must outlive it, as for String(const char*).
///
/// A temporary part is taken over instead of counted. Adding a part costs constant time, moving a builder four words
/// and copying one a reference for each part. Not synchronised, but may be handed to another thread.
///
/// What an expression calls is always inlined and leaves no address of the builder behind: the compiler then keeps it
/// in registers from one + to the next and knows where in its block each part goes.
class [[nodiscard]] StringAddition {
public:
    template <class Left, class Right>
    [[gnu::always_inline]] StringAddition(Left&& left, Right&& right) {
        append(std::forward<Left>(left)).append(std::forward<Right>(right));
    }
    StringAddition(const StringAddition& other);
    [[gnu::always_inline]] StringAddition(StringAddition&& other) noexcept
        : m_chain(std::exchange(other.m_chain, {})) {}
    StringAddition& operator=(const StringAddition& other);
    StringAddition& operator=(StringAddition&& other) noexcept {
        std::swap(m_chain, other.m_chain);
        return *this;
    }
    [[gnu::always_inline]] ~StringAddition() {
        if (m_chain.first != nullptr) {
            destroy(m_chain.first, m_chain.free);
        }
    }

    [[gnu::always_inline]] StringAddition& add(String&& part) { return append(std::move(part)); }
    [[gnu::always_inline]] StringAddition& add(const String& part) { return append(part); }
    [[gnu::always_inline]] StringAddition& add(const char* part) { return append(part); }
    [[gnu::always_inline]] StringAddition& add(std::string_view part) { return append(part); }
    StringAddition& add(const StringAddition& other);

    /// Bytes of all parts together; a sum that a String cannot hold aborts.
    [[nodiscard]] unsigned length() const noexcept;
    /// Appends every part, in order, to the text: one reservation.
    void appendTo(String& text) const;

private:
    /// Without a block in a moved-from builder, which is an empty one.
    struct Chain {
        StringAdditionBlock* first = nullptr;
        StringAdditionBlock* last = nullptr;
        // Bytes of all parts. 64 bits, so that a sum beyond a String's length is noticed and not wrapped.
        unsigned long total = 0;
        // Places behind the last part in the last block.
        unsigned free = 0;
    };

    template <class Part>
    [[gnu::always_inline]] StringAddition& append(Part&& part) {
        if (m_chain.free == 0) [[unlikely]] {
            m_chain.last = StringAdditionBlock::create(m_chain.last);
            m_chain.free = StringAdditionBlock::kParts;
            if (m_chain.first == nullptr) {
                m_chain.first = m_chain.last;
            }
        }
        put(std::forward<Part>(part));
        return *this;
    }
    [[gnu::always_inline]] void put(const char* part) noexcept { put(String(part)); }
    [[gnu::always_inline]] void put(std::string_view part) noexcept {
        put(part.empty() ? String() : String(part.data(), String::total(part.size())));
    }
    template <class Part>
    [[gnu::always_inline]] void put(Part&& part) noexcept {
        m_chain.total += part.length();
        String* const place = m_chain.last->m_parts + (StringAdditionBlock::kParts - m_chain.free);
        --m_chain.free;
        ::new (place) String(std::forward<Part>(part));
    }
    /// Drops the parts of the whole chain and gives its blocks back.
    static void destroy(StringAdditionBlock* first, unsigned free) noexcept;
    /// Writes the bytes of all parts, in order.
    void copyTo(char* place) const noexcept;

    Chain m_chain;
};

// The builder for two pieces.
[[gnu::always_inline]] inline StringAddition operator+(const String& left, const String& right) {
    return {left, right};
}
[[gnu::always_inline]] inline StringAddition operator+(const String& left, String&& right) {
    return {left, std::move(right)};
}
[[gnu::always_inline]] inline StringAddition operator+(String&& left, const String& right) {
    return {std::move(left), right};
}
[[gnu::always_inline]] inline StringAddition operator+(String&& left, String&& right) {
    return {std::move(left), std::move(right)};
}
[[gnu::always_inline]] inline StringAddition operator+(const String& left, const char* right) { return {left, right}; }
[[gnu::always_inline]] inline StringAddition operator+(String&& left, const char* right) {
    return {std::move(left), right};
}
[[gnu::always_inline]] inline StringAddition operator+(const char* left, const String& right) { return {left, right}; }
[[gnu::always_inline]] inline StringAddition operator+(const char* left, String&& right) {
    return {left, std::move(right)};
}
[[gnu::always_inline]] inline StringAddition operator+(const String& left, std::string_view right) {
    return {left, right};
}
[[gnu::always_inline]] inline StringAddition operator+(String&& left, std::string_view right) {
    return {std::move(left), right};
}
[[gnu::always_inline]] inline StringAddition operator+(std::string_view left, const String& right) {
    return {left, right};
}
[[gnu::always_inline]] inline StringAddition operator+(std::string_view left, String&& right) {
    return {left, std::move(right)};
}

// A further piece behind a builder; a temporary builder is continued, a kept one stays as it is.
[[gnu::always_inline]] inline StringAddition operator+(StringAddition&& left, const String& right) {
    return std::move(left.add(right));
}
[[gnu::always_inline]] inline StringAddition operator+(StringAddition&& left, String&& right) {
    return std::move(left.add(std::move(right)));
}
[[gnu::always_inline]] inline StringAddition operator+(StringAddition&& left, const char* right) {
    return std::move(left.add(right));
}
[[gnu::always_inline]] inline StringAddition operator+(StringAddition&& left, std::string_view right) {
    return std::move(left.add(right));
}
[[gnu::always_inline]] inline StringAddition operator+(StringAddition&& left, const StringAddition& right) {
    return std::move(left.add(right));
}
inline StringAddition operator+(const StringAddition& left, const String& right) {
    return StringAddition(left) + right;
}
inline StringAddition operator+(const StringAddition& left, String&& right) {
    return StringAddition(left) + std::move(right);
}
inline StringAddition operator+(const StringAddition& left, const char* right) { return StringAddition(left) + right; }
inline StringAddition operator+(const StringAddition& left, std::string_view right) {
    return StringAddition(left) + right;
}
inline StringAddition operator+(const StringAddition& left, const StringAddition& right) {
    return StringAddition(left) + right;
}

// A piece in front of a builder.
StringAddition operator+(String&& left, const StringAddition& right);
inline StringAddition operator+(const String& left, const StringAddition& right) { return String(left) + right; }
inline StringAddition operator+(const char* left, const StringAddition& right) { return String(left) + right; }
inline StringAddition operator+(std::string_view left, const StringAddition& right) {
    return StringAddition(left, String::null) + right;
}

}  // namespace tessel
