// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/xml/node.h"

namespace tessel::xml {

/// A text node: the bytes as they stand in the document, without blanks at the ends. No entity is decoded.
class Text final : public Node {
public:
    Text() : Node(Type::Text) {}
    Text(Storage& storage, Piece text) noexcept : Node(Type::Text, storage), m_text(text) {}

    [[nodiscard]] String getText() const { return storage().string(m_text); }
    /// The same without a count; stands as long as the document.
    [[nodiscard]] Piece text() const noexcept { return m_text; }
    /// Takes document text: what is to stand for "<" or "&" must be escaped (see escape.h).
    void setText(const String& text) { m_text = storage().keep(text.view()); }
    /// Where the text starts in its document; String::npos when it was not parsed.
    [[nodiscard]] unsigned getPosition() const noexcept;

    /// Takes everything up to the next "<".
    unsigned parse(const String& text, unsigned pos) override;
    void toXml(String& out) const override;

private:
    Piece m_text;
};

}  // namespace tessel::xml
