// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/xml/attributevalue.h"
#include "libs/xml/chain.h"

namespace tessel::xml {

/// An attribute of an element: `name=value`, or a name that stands alone.
class Attribute final : public Stored {
public:
    Attribute() : m_value(storage()) {}
    explicit Attribute(Storage& storage) noexcept : Stored(storage), m_value(storage) {}

    /// As written.
    [[nodiscard]] String getName() const { return storage().string(m_name); }
    [[nodiscard]] Piece name() const noexcept { return m_name; }
    void setName(const String& name) { m_name = storage().keep(name.view()); }
    void setName(Piece kept) noexcept { m_name = kept; }
    [[nodiscard]] bool hasValue() const noexcept { return m_hasValue; }
    void setHasValue(bool hasValue) noexcept { m_hasValue = hasValue; }
    [[nodiscard]] AttributeValue& value() noexcept { return m_value; }
    [[nodiscard]] const AttributeValue& value() const noexcept { return m_value; }
    [[nodiscard]] const Attribute* getNext() const noexcept { return m_next; }

    /// Parses one attribute at the position. Returns the position behind it, or String::npos when there is none left
    /// in the tag; the last one is complete all the same. Raises EXmlAttribute, after a log line, when the value is
    /// missing or cannot be parsed.
    unsigned parse(const String& text, unsigned pos);

    /// The name alone; nothing for an "xmlns" with an empty value; `name=` for an empty value without quotes; else
    /// `name=` and the value as it is quoted.
    [[nodiscard]] String toString() const;

private:
    friend class Element;
    unsigned parseValue(const String& text, unsigned pos);

    Piece m_name;
    AttributeValue m_value;
    Attribute* m_next = nullptr;
    bool m_hasValue = false;
    /// Repeats a declaration of the element's own tag, for a resolved prefix.
    bool m_added = false;
};

inline const Attribute* following(const Attribute& attribute) noexcept { return attribute.getNext(); }
using Attributes = Chain<const Attribute>;

}  // namespace tessel::xml
