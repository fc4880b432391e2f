// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <iterator>

#include "libs/base/string.h"

namespace tessel {

/// Walks over the fields of a string, in order, without copying a byte. Used as
/// `for (const String& field : CharSplitter(text, ','))`, being an input range, or `while (splitter.next())`.
///
/// n separators make n + 1 fields: adjacent, leading and trailing separators yield empty fields, and an empty string
/// has one empty field.
class Splitter {
public:
    /// Every iterator of a splitter stands where the splitter does.
    class Iterator {
    public:
        using difference_type = std::ptrdiff_t;
        using value_type = String;

        explicit Iterator(Splitter& splitter) noexcept : m_splitter(&splitter) {}
        const String& operator*() const noexcept { return m_splitter->field(); }
        Iterator& operator++() noexcept {
            m_splitter->next();
            return *this;
        }
        void operator++(int) noexcept { m_splitter->next(); }
        friend bool operator==(const Iterator& at, std::default_sentinel_t) noexcept { return !at.m_splitter->valid(); }

    private:
        Splitter* m_splitter;
    };

    virtual ~Splitter() = default;

    /// Begins anew.
    Iterator begin() noexcept {
        rewind();
        next();
        return Iterator(*this);
    }
    static std::default_sentinel_t end() noexcept { return std::default_sentinel; }
    /// Makes the next field current; returns valid().
    bool next() noexcept;
    /// False once the walk has passed the last field; true before the first one.
    [[nodiscard]] bool valid() const noexcept { return !m_pastEnd; }
    void rewind() noexcept;
    /// The current field, a view into the source; empty before the first and after the last one.
    [[nodiscard]] const String& field() const noexcept { return m_field; }
    const String& operator*() const noexcept { return m_field; }
    /// Length of the current field.
    [[nodiscard]] unsigned length() const noexcept { return m_field.length(); }

protected:
    explicit Splitter(const String& source) noexcept : m_source(source) {}
    Splitter(const Splitter&) = default;
    Splitter& operator=(const Splitter&) = default;

    [[nodiscard]] const String& source() const noexcept { return m_source; }

private:
    /// Position of the first separator at or after `from`, or npos.
    [[nodiscard]] virtual unsigned separator(unsigned from) const noexcept = 0;

    String m_source;
    // Of the separator behind the current field: npos before the first field, the source's length at the last one.
    unsigned m_position = String::npos;
    bool m_pastEnd = false;
    String m_field;
};

/// Fields separated by one character.
class CharSplitter final : public Splitter {
public:
    CharSplitter(const String& source, char separator) noexcept : Splitter(source), m_separator(separator) {}

private:
    [[nodiscard]] unsigned separator(unsigned from) const noexcept override;

    char m_separator;
};

/// Fields separated by any character of a set, a C string that must outlive the splitter.
class FirstOfSplitter final : public Splitter {
public:
    FirstOfSplitter(const String& source, const char* set) noexcept : Splitter(source), m_set(set) {}

private:
    [[nodiscard]] unsigned separator(unsigned from) const noexcept override;

    const char* m_set;
};

}  // namespace tessel
