// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <iterator>
#include <memory>
#include <string_view>
#include <utility>

#include "libs/base/gcobject.h"
#include "libs/base/string.h"

namespace Json {
class Value;
}

namespace tessel::json {

class JSONMutWrapper;
class JSONReader;
class JSONWrapper;
class JSONWrapperFromString;

/// The kinds of value.
struct JSON {
    enum Type {
        nullValue = 0,
        intValue = 1,
        uintValue = 2,
        realValue = 3,
        stringValue = 4,
        booleanValue = 5,
        arrayValue = 6,
        objectValue = 7
    };
};

/// Steps through the elements of an array or the members of an object, in order: a forward iterator that makes its
/// handles as they are asked for. Refers into the value.
class JSONWrapperConstIterator {
public:
    using iterator_concept = std::forward_iterator_tag;
    using iterator_category = std::input_iterator_tag;
    using difference_type = std::ptrdiff_t;
    using value_type = JSONWrapper;
    using reference = JSONWrapper;
    using pointer = void;

    JSONWrapperConstIterator() noexcept = default;
    JSONWrapper operator*() const;
    /// The member's name; empty in an array.
    [[nodiscard]] String name() const;
    JSONWrapperConstIterator& operator++() noexcept {
        ++m_index;
        return *this;
    }
    JSONWrapperConstIterator operator++(int) noexcept {
        JSONWrapperConstIterator before = *this;
        ++m_index;
        return before;
    }
    friend bool operator==(const JSONWrapperConstIterator& left, const JSONWrapperConstIterator& right) noexcept {
        return left.m_index == right.m_index;
    }

private:
    friend class JSONWrapper;
    struct Items;
    JSONWrapperConstIterator(std::shared_ptr<const Items> items, std::size_t index) noexcept
        : m_items(std::move(items)), m_index(index) {}

    std::shared_ptr<const Items> m_items;
    std::size_t m_index = 0;
};

/// A handle on one JSON value that lives elsewhere and must outlive it, with its readers and all handles made from
/// it. Copies are cheap and refer to the same value. Used by one thread at a time.
///
/// A temporary gives no reader, which would be gone with it. One that owns its value is not copied into a handle; the
/// handles that its operator[] gives are for the same expression only.
class JSONWrapper {
public:
    explicit JSONWrapper(const Json::Value& value) noexcept;
    JSONWrapper(const JSONWrapper& other) noexcept;
    JSONWrapper(const JSONWrapperFromString&& owner) = delete;
    JSONWrapper(const JSONMutWrapper&& owner) = delete;
    JSONWrapper& operator=(const JSONWrapper& other) noexcept;
    virtual ~JSONWrapper();

    /// The library's value, for this folder alone.
    [[nodiscard]] virtual const Json::Value& get_ref() const { return *m_value; }

    [[nodiscard]] JSON::Type getType() const;
    /// Of an object or null; on anything else the library's own std::exception comes out.
    [[nodiscard]] List<String> getMemberNames() const;
    /// Nothing is passed for a value that is neither an array nor an object.
    [[nodiscard]] JSONWrapperConstIterator begin() const;
    [[nodiscard]] JSONWrapperConstIterator end() const;
    /// Elements or members; 0 for any other value.
    [[nodiscard]] unsigned size() const;

    /// The member; a null value when there is none. On a value that is neither an object nor null the library's own
    /// std::exception comes out, deliberately, so that callers can tell it from a refused conversion.
    [[nodiscard]] JSONWrapper operator[](const String& key) const;

    /// Raise EJsonError, after a log line, when the library cannot convert the value: numbers and booleans have a
    /// text, but a text is no number. A text ends at its first NUL byte.
    [[nodiscard]] String asString() const;
    [[nodiscard]] int asInt32() const;
    [[nodiscard]] unsigned asUInt32() const;
    [[nodiscard]] bool asBool() const;

    /// The reader of this value, made on first use and kept.
    const gc::Pointer<JSONReader>& getReader() const&;
    const gc::Pointer<JSONReader>& getReader() const&& = delete;

private:
    template <class T, class Convert>
    T _as(Convert convert) const;

    const Json::Value* m_value;
    mutable gc::Pointer<JSONReader> m_reader;
};

/// Parses a text and owns the value. A NUL byte ends the text.
///
/// Bounded: nesting is limited (about 1000 levels), and a text that could hold more than kMostValues values is
/// refused; time is in line with the text. Raises EJsonError, after a log line that quotes nothing.
class JSONWrapperFromString final : private std::unique_ptr<Json::Value>, public JSONWrapper {
public:
    static constexpr std::size_t kMostValues = 1'000'000;

    explicit JSONWrapperFromString(const String& text);
    JSONWrapperFromString(const JSONWrapperFromString&) = delete;
    JSONWrapperFromString& operator=(const JSONWrapperFromString&) = delete;
    ~JSONWrapperFromString() override;
};

/// The value as JSON text, laid out over several lines. May be called on any thread.
String toString(const JSONWrapper& json);
/// The same in one line, without a line end.
String toLine(const JSONWrapper& json);

}  // namespace tessel::json
