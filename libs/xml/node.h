// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "libs/xml/chain.h"
#include "libs/xml/storage.h"

namespace tessel::xml {

/// Base of all nodes of a document.
///
/// A node made on its own is its maker's; a node that a parse made, or that was appended to an element, belongs to
/// the document and lives as long as its root. Used by one thread at a time.
class Node : public Stored {
public:
    /// The numbers are those of the document model.
    enum class Type : unsigned char { Element = 0, Text = 2, Comment = 7 };

    virtual ~Node() = default;

    /// An empty node. Raises EXmlNode, after a log line, for a type that there is none of.
    static std::unique_ptr<Node> create(int type);

    [[nodiscard]] Type getType() const noexcept { return m_type; }
    [[nodiscard]] Node* getNextSibling() const noexcept { return m_next; }

    /// The mark of a node that a keyed reader has consumed.
    void hide(bool hidden) noexcept;
    [[nodiscard]] bool hidden() const noexcept { return m_hidden; }

    /// Parses the construct at the position and returns the position behind it, String::npos when the text ended
    /// first. Views into the text are kept, and with it the text.
    virtual unsigned parse(const String& text, unsigned pos) = 0;

    /// Appends the node as it would stand in a document.
    virtual void toXml(String& out) const = 0;
    [[nodiscard]] String toString() const;

protected:
    explicit Node(Type type) : m_type(type) {}
    Node(Type type, Excerpts excerpts) : Stored(excerpts), m_type(type) {}
    Node(Type type, Storage& storage) noexcept : Stored(storage), m_type(type) {}

private:
    friend class Element;

    const Type m_type;
    bool m_hidden = false;
    Node* m_next = nullptr;
};

inline Node* following(const Node& node) noexcept { return node.getNextSibling(); }
using Nodes = Chain<Node>;

}  // namespace tessel::xml
