// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/xml/storage.h"

namespace tessel::xml {

/// The value of an attribute: its text, how it is quoted, and where it stands.
///
/// The text is the document's, without blanks at the ends and with "&quot;" and "&#39;" decoded; no other entity is.
class AttributeValue : public Stored {
public:
    enum class Quote : unsigned char { Simple = 0, Double = 1, No = 2 };

    AttributeValue() = default;
    explicit AttributeValue(Storage& storage) noexcept : Stored(storage) {}

    [[nodiscard]] String getValue() const { return storage().string(m_value); }
    /// The same without a count; stands as long as the document.
    [[nodiscard]] Piece value() const noexcept { return m_value; }
    void setValue(const String& value) { m_value = storage().keep(value.view()); }
    void setValue(Piece kept) noexcept { m_value = kept; }
    [[nodiscard]] Quote getQuote() const noexcept { return m_quote; }
    void setQuote(Quote quote) noexcept { m_quote = quote; }
    /// "simple", "double" or "no".
    [[nodiscard]] String getQuoteString() const;
    /// "double" in any case, or "simple"; anything else means no quotes.
    void setQuoteString(const String& text);
    /// Of the value's first character in its document.
    [[nodiscard]] unsigned getPosition() const noexcept { return m_position; }

    /// Parses the value at the position and returns the position behind it, String::npos when the text ended first.
    /// Raises EXmlAttributeValue, after a log line, when a quote is not closed.
    unsigned parse(const String& text, unsigned pos);

    /// The value with its quotes; the quote characters in it that would end it are written as entities. A value that
    /// would not hold together without quotes gets double ones.
    [[nodiscard]] String toString() const;

private:
    unsigned parseQuoted(char quote, unsigned start);
    void take(unsigned from, unsigned to);

    Piece m_value;
    unsigned m_position = 0;
    Quote m_quote = Quote::Double;
};

}  // namespace tessel::xml
