// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/xml/node.h"

namespace tessel::xml {

/// A comment: the text between its delimiters, as it stands.
class Comment final : public Node {
public:
    Comment() : Node(Type::Comment) {}
    explicit Comment(Storage& storage) noexcept : Node(Type::Comment, storage) {}

    [[nodiscard]] String getText() const { return storage().string(m_text); }
    /// The text must not contain "-->".
    void setText(const String& text) { m_text = storage().keep(text.view()); }

    /// The comment ends at the next "-->", and at the next "-- >" only when there is no "-->" in the rest of the
    /// document. Raises EXmlComment, after a log line, when there is neither.
    unsigned parse(const String& text, unsigned pos) override;
    /// The same without raising, for a text that the storage is anchored to: false, after the log line, when the
    /// comment does not end.
    bool tryParse(unsigned pos, unsigned& end);
    void toXml(String& out) const override;

private:
    Piece m_text;
};

}  // namespace tessel::xml
