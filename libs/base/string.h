// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <compare>
#include <concepts>
#include <cstddef>
#include <cstring>
#include <initializer_list>
#include <iosfwd>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "libs/base/assertion.h"
#include "libs/base/memoryblock.h"
#include "libs/base/stringsites.h"

namespace tessel {

class Memory;
class String;
class StringAddition;

/// An ordinary ordered sequence.
template <class T>
using List = std::vector<T>;
using Strings = List<String>;

/// What never stands for a text, although 0 and nullptr would pass for a C string: numbers, characters (which are
/// numbers to the language) and null pointers. Operations that would take them by mistake are deleted for them.
template <class T>
concept NoText = std::is_integral_v<T> || std::is_null_pointer_v<T>;

/// What overloads for numbers and booleans would take although it is neither: a character, and any pointer but a C
/// string.
template <class T>
concept NoValue = std::same_as<T, char> || std::is_null_pointer_v<T> ||
    (std::is_pointer_v<T> && !std::is_convertible_v<T, const char*>);

/// What the append() of several pieces takes: a String, a C string, a character, and all that gives a string_view.
template <class T>
inline constexpr bool kIsStringPiece = std::same_as<T, char> ||
                                       (std::is_convertible_v<const T&, std::string_view> && !NoText<T>);

/// A byte string: UTF-8 where it is text at all; the type knows nothing of characters beyond ASCII.
///
/// To the standard library it is a contiguous range of constant bytes, ordered as unsigned ones, that can be hashed,
/// turns into a string_view by itself, and is written to streams. What is made of a `const char*` views its bytes; what
/// is made of a string_view (or std::string) copies them, and says so at the place.
///
/// Representation: a view (length, pointer) onto a shared counted block, or onto static bytes (a literal) when
/// there is no block. Copies and substrings never copy bytes and never allocate. Changes copy first unless this
/// string is the block's only user. The bytes need not end with NUL; str() makes them so.
///
/// Threads: a value is not synchronised, but values that share a block may be used on different threads.
/// Nothing here raises, except std::bad_alloc when memory ends. Lengths are 32-bit; a total beyond kMaxLength aborts.
/// Empty strings and views of literals are constant-initialised, so globals may use them before main() and after it.
class String {
public:
    static constexpr unsigned npos = static_cast<unsigned>(-1);
    /// The longest text that a block can hold with its NUL; a little less than 4 GiB.
    static constexpr unsigned kMaxLength = MemoryBlock::kLargest - 2;
    /// A shared empty string, returned where an operation is asked to yield "null"; never destroyed.
    static const String& null;

    constexpr String() noexcept = default;
    /// View the bytes without copying: they must outlive the string and all that is cut from it (literals do).
    constexpr String(const char* text) : m_length(measure(text)), m_string(text) {}
    constexpr String(const char* text, unsigned length) : m_length(length), m_terminated(false), m_string(text) {
        TESSEL_ASSERT(text != nullptr, "m_string", sites::kStringView);
    }
    String(std::nullptr_t) = delete;
    /// As copy().
    explicit String(std::string_view text);
    String(const Memory& memory);
    /// Joins the parts with one allocation.
    String(const StringAddition& addition);
    String(const String&) noexcept = default;
    String(String&& other) noexcept
        : m_length(std::exchange(other.m_length, 0)),
          m_terminated(other.m_terminated),
          m_block(std::move(other.m_block)),
          m_string(std::exchange(other.m_string, "")) {}
    String& operator=(const String& other) noexcept = default;
    String& operator=(String&& other) noexcept {
        String(std::move(other)).swap(*this);
        return *this;
    }
    ~String() = default;
    void swap(String& other) noexcept {
        std::swap(m_length, other.m_length);
        std::swap(m_terminated, other.m_terminated);
        m_block.swap(other.m_block);
        std::swap(m_string, other.m_string);
    }

    /// Takes over a fresh block (count 0) that begins with the text, `length` bytes, and a NUL.
    static String fromFresh(MemoryBlock* block, unsigned length) noexcept {
        return {gc::Pointer<MemoryBlock>::fresh(block), block->data(), length, true};
    }

    /// The named form of the viewing constructor.
    [[nodiscard]] static String global(const char* text, unsigned length) { return {text, length}; }
    /// The copying forms, for text whose storage is temporary.
    [[nodiscard]] static String copy(const char* text);
    [[nodiscard]] static String copy(const char* text, unsigned length);
    [[nodiscard]] static String copy(std::string_view text);
    /// Length of a C string.
    [[nodiscard]] static unsigned length(const char* text) { return measure(text); }
    /// A sum of lengths as the length that a text of them has; one beyond kMaxLength aborts.
    [[nodiscard]] static unsigned total(std::size_t sum) noexcept {
        TESSEL_ASSERT(sum <= kMaxLength, "upperSize >= size", sites::kPoolUpperSizeFits);
        return static_cast<unsigned>(sum);
    }

    [[nodiscard]] unsigned length() const noexcept { return m_length; }
    [[nodiscard]] bool empty() const noexcept { return m_length == 0; }
    char operator[](unsigned position) const noexcept { return m_string[position]; }
    /// The raw bytes, not terminated.
    [[nodiscard]] const char* array() const noexcept { return m_string; }
    [[nodiscard]] const char* begin() const noexcept { return m_string; }
    [[nodiscard]] const char* end() const noexcept { return m_string + m_length; }
    [[nodiscard]] std::string_view view() const noexcept { return {m_string, m_length}; }
    operator std::string_view() const noexcept { return view(); }
    // The standard library's names of array() and length().
    [[nodiscard]] const char* data() const noexcept { return m_string; }
    [[nodiscard]] std::size_t size() const noexcept { return m_length; }
    /// The bytes followed by NUL. Valid until this string changes or ends. Nothing is read behind the text: one that is
    /// not known to end with NUL (a view of so many bytes, a part of a longer text, what a Memory held) is copied into
    /// a block of its own on the first call, which is why two threads must not call it on one value at once.
    const char* str() const {
        if (m_length == 0) {
            return "";
        }
        if (!m_terminated) [[unlikely]] {
            terminate();
        }
        return m_string;
    }
    /// The storage, or empty when the string views static bytes.
    [[nodiscard]] const gc::Pointer<MemoryBlock>& block() const noexcept { return m_block; }

    // Comparison. The NoCase2 forms lower only the receiver's ASCII letters: the argument must be lower case.
    [[nodiscard]] bool equals(const char* text, unsigned length) const noexcept {
        return m_length == length && std::memcmp(m_string, text, length) == 0;
    }
    [[nodiscard]] bool equalsNoCase2(const char* text, unsigned length) const noexcept;
    [[nodiscard]] bool equalsNoCase2(const String& text) const noexcept { return equalsNoCase2(text.view()); }
    [[nodiscard]] bool equalsNoCase2(std::string_view text) const noexcept;
    [[nodiscard]] bool starts(const char* text, unsigned from = 0) const noexcept;
    [[nodiscard]] bool starts(const String& text, unsigned from = 0) const noexcept {
        return starts(text.view(), from);
    }
    [[nodiscard]] bool starts(std::string_view text, unsigned from = 0) const noexcept;
    [[nodiscard]] bool startsNoCase2(const char* text, unsigned length, unsigned from = 0) const noexcept;
    [[nodiscard]] bool ends(const char* text) const noexcept;
    [[nodiscard]] bool ends(const String& text) const noexcept { return ends(text.view()); }
    [[nodiscard]] bool ends(std::string_view text) const noexcept;
    [[nodiscard]] bool endsNoCase2(const char* text, unsigned length) const noexcept;
    friend bool operator==(const String& left, const String& right) noexcept {
        return left.equals(right.m_string, right.m_length);
    }
    friend bool operator==(const String& left, const char* right) noexcept {
        return left.equals(right, static_cast<unsigned>(std::strlen(right)));
    }
    friend bool operator==(const String& left, std::string_view right) noexcept { return left.view() == right; }
    template <NoText T>
    friend bool operator==(const String&, T) = delete;
    friend std::strong_ordering operator<=>(const String& left, const String& right) noexcept {
        return left.view() <=> right.view();
    }
    friend std::strong_ordering operator<=>(const String& left, const char* right) noexcept {
        return left.view() <=> right;
    }
    friend std::strong_ordering operator<=>(const String& left, std::string_view right) noexcept {
        return left.view() <=> right;
    }
    template <NoText T>
    friend std::strong_ordering operator<=>(const String&, T) = delete;

    // Search. Each returns a byte position or npos; `from` at or beyond the end finds nothing. Time grows with the
    // sum of the lengths. An empty text is found at `from`, or by rfind() at the end.
    [[nodiscard]] unsigned find(char c, unsigned from = 0) const noexcept;
    [[nodiscard]] unsigned find(const char* text, unsigned from = 0) const noexcept;
    [[nodiscard]] unsigned find(const String& text, unsigned from = 0) const noexcept {
        return find(text.view(), from);
    }
    [[nodiscard]] unsigned find(std::string_view text, unsigned from = 0) const noexcept;
    [[nodiscard]] unsigned rfind(char c) const noexcept;
    [[nodiscard]] unsigned rfind(const char* text) const;
    [[nodiscard]] unsigned rfind(const String& text) const { return rfind(text.view()); }
    [[nodiscard]] unsigned rfind(std::string_view text) const;
    [[nodiscard]] unsigned findFirstOf(const char* set, unsigned from = 0) const noexcept;
    [[nodiscard]] unsigned findNoCase2(const char* text, unsigned length, unsigned from = 0) const;
    /// The first blank (space, tab, carriage return, line feed, form feed), or the first byte that is none.
    [[nodiscard]] unsigned searchSpace(unsigned from = 0) const noexcept;
    [[nodiscard]] unsigned searchNoSpace(unsigned from = 0) const noexcept;

    // Pieces: views that share the block.
    /// The part before, or after, the first c. Without c: the whole string, or null if nullIfMissing.
    [[nodiscard]] String left(char c, bool nullIfMissing = false) const noexcept;
    [[nodiscard]] String right(char c, bool nullIfMissing = false) const noexcept;
    /// The bytes from `from` up to, not including, `to`; both are clamped to the length.
    [[nodiscard]] String range(unsigned from, unsigned to = npos) const noexcept;
    /// Without blanks, or without c, at both ends or at one.
    [[nodiscard]] String trim() const noexcept;
    [[nodiscard]] String trim(char c) const noexcept;
    [[nodiscard]] String trimLeft(char c) const noexcept;
    [[nodiscard]] String trimRight(char c) const noexcept;

    // New strings; the receiver is untouched.
    [[nodiscard]] String upper() const;
    [[nodiscard]] String lower() const;
    /// The bytes in ascending order.
    [[nodiscard]] String sort() const;
    /// A private copy of the bytes.
    [[nodiscard]] String clone() const;
    [[nodiscard]] String replace(char from, char to) const;
    [[nodiscard]] String replace(const char* from, const char* to) const;
    [[nodiscard]] String replace(const String& from, const String& to) const;
    [[nodiscard]] String replaceNoCase2(const String& from, const String& to) const;
    /// The bytes [from, to) replaced by text; positions are clamped.
    [[nodiscard]] String replaceBetween(unsigned from, unsigned to, const String& text) const;
    [[nodiscard]] String remove(char c) const;
    [[nodiscard]] String remove(const char* text) const;
    [[nodiscard]] String remove(const String& text) const;
    /// Joins the items with this string between each two; one allocation.
    [[nodiscard]] String glue(const Strings& items) const;

    // In place. What is appended may be a part of this string.
    String& append(const char* text, unsigned length);
    String& append(const char* text);
    String& append(const String& text);
    String& append(std::string_view text);
    String& append(const StringAddition& addition);
    String& append(unsigned count, char c);
    template <NoText T>
    String& append(T) = delete;
    /// Count and character the wrong way round.
    template <std::same_as<char> C, NoText T>
    requires(!std::same_as<T, char>) String& append(C, T) = delete;
    /// Two to six pieces, strings and single characters, with one reservation of the sum.
    template <class... Pieces>
    requires(sizeof...(Pieces) >= 2 && sizeof...(Pieces) <= 6 &&
             (kIsStringPiece<Pieces> && ...)) String& append(const Pieces&... pieces) {
        return appendPieces({piece(pieces)...});
    }
    String& operator+=(const char* text) { return append(text); }
    String& operator+=(const String& text) { return append(text); }
    String& operator+=(std::string_view text) { return append(text); }
    String& operator+=(const StringAddition& addition) { return append(addition); }
    template <NoText T>
    String& operator+=(T) = delete;
    /// Makes room for `extra` more bytes (copying first unless this is the block's only user) and returns the place
    /// where they go; the caller then takes them over with grow().
    char* reserve(unsigned extra);
    /// Takes over bytes written at the place that reserve() returned, at most as many as it was asked for.
    void grow(unsigned written) noexcept {
        if (written != 0) {
            m_length += written;
            m_block.uget()->data()[m_length] = '\0';
            m_terminated = true;
        }
    }
    /// Sets the length: cuts, or fills with NUL bytes.
    void resize(unsigned length);
    /// Drops all bytes from this position on.
    void cut(unsigned position) noexcept;
    /// A position beyond the end changes nothing.
    void setAt(unsigned position, char c);

private:
    friend class Memory;
    friend class StringAddition;

    String(gc::Pointer<MemoryBlock> block, const char* text, unsigned length, bool terminated) noexcept
        : m_length(length), m_terminated(terminated), m_block(std::move(block)), m_string(text) {}
    static constexpr unsigned measure(const char* text) {
        TESSEL_ASSERT(text != nullptr, "m_string", sites::kStringText);
        return static_cast<unsigned>(__builtin_strlen(text));
    }
    void terminate() const;
    /// A view of bytes that lie in this string.
    String part(unsigned from, unsigned length) const noexcept {
        return {m_block, m_string + from, length, m_terminated && from + length == m_length};
    }
    /// The block, if the text lies in it: holding it keeps the text while this string changes.
    gc::Pointer<MemoryBlock> keepFor(const char* text) const noexcept;
    template <class Rewrite>
    String rewritten(Rewrite rewrite) const;
    String replaceAll(const String& searched, const String& from, const String& to) const;
    static std::string_view piece(const String& text) noexcept { return text.view(); }
    static std::string_view piece(const char& c) noexcept { return {&c, 1}; }
    static std::string_view piece(const char* const& text) noexcept { return text; }
    static std::string_view piece(std::string_view text) noexcept { return text; }
    String& appendPieces(std::initializer_list<std::string_view> pieces);

    // Invariant: m_string is never null, and lies in m_block or, without a block, in static bytes.
    unsigned m_length = 0;
    // Mutable for str(), these three. Whether a NUL is known to stand behind the last byte.
    mutable bool m_terminated = true;
    mutable gc::Pointer<MemoryBlock> m_block;
    mutable const char* m_string = "";
};

/// As the standard library writes a string_view: width, fill and adjustment count.
std::ostream& operator<<(std::ostream& out, const String& text);

}  // namespace tessel

/// That of a string_view with the same bytes, which may stand for the String: with std::equal_to<> beside it, a
/// container is searched without a String being made.
template <>
struct std::hash<tessel::String> {
    using is_transparent = void;
    [[nodiscard]] std::size_t operator()(std::string_view text) const noexcept {
        return std::hash<std::string_view>{}(text);
    }
};

#include "libs/base/stringaddition.h"

namespace tessel {

// Numbers and characters are not joined: toString() makes text of a number, append() takes a character.
template <NoText T>
String operator+(const String&, T) = delete;
template <NoText T>
String operator+(T, const String&) = delete;

}  // namespace tessel
