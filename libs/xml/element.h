// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/xml/attribute.h"
#include "libs/xml/namespaces.h"
#include "libs/xml/node.h"

namespace tessel::xml {

class Element;
class Text;

/// The first element that is this node or one of its next siblings, or none.
Element* firstElementFrom(Node* node) noexcept;
using Elements = Chain<Element>;

/// An element: name, namespace, attributes and children, both in document order.
///
/// The root of a parsed document is its parser's caller's; it owns the whole document. Strings that are handed out
/// share the document's text and live on their own; pieces, nodes and attributes live as long as the root.
/// Used by one thread at a time.
class Element final : public Node {
public:
    Element() : Node(Type::Element) {}
    explicit Element(const String& name) : Element() { setName(name); }
    explicit Element(Excerpts excerpts) : Node(Type::Element, excerpts) {}
    explicit Element(Storage& storage) noexcept : Node(Type::Element, storage) {}

    /// In lower case, without the prefix when that is a declared one.
    [[nodiscard]] String getName() const { return storage().string(name()); }
    [[nodiscard]] Piece name() const noexcept { return m_qualifiedName.substr(m_local); }
    void setName(const String& name) { takeName(storage().keepLower(name.view())); }
    /// The name of its namespace; empty when there is none.
    [[nodiscard]] String getNamespace() const { return storage().string(m_namespace); }
    /// What a prefix (in lower case) stands for here; empty when it is not declared.
    [[nodiscard]] String getNamespace(const String& prefix) const;
    /// Whether a default namespace was declared on this very element.
    [[nodiscard]] bool declaresDefaultNamespace() const noexcept { return m_declaresDefault; }

    /// Changes whenever a hidden mark somewhere in the document is taken back.
    [[nodiscard]] unsigned unhidings() const noexcept { return storage().unhidings; }
    /// All children, and those that are elements.
    [[nodiscard]] Nodes children() const noexcept { return Nodes(m_firstChild); }
    [[nodiscard]] Elements elements() const noexcept { return Elements(firstElementFrom(m_firstChild)); }
    [[nodiscard]] Node* getFirstChild() const noexcept { return m_firstChild; }
    [[nodiscard]] Text* getFirstText() const noexcept;
    /// Takes the node over, at the end; it then lives as long as this element's document.
    void appendChild(std::unique_ptr<Node> child);

    [[nodiscard]] Attributes attributes() const noexcept { return Attributes(m_firstAttribute); }
    [[nodiscard]] const Attribute* getFirstAttribute() const noexcept { return m_firstAttribute; }
    /// The attribute of exactly this name, or none.
    [[nodiscard]] const Attribute* getAttribute(const String& name) const noexcept;
    [[nodiscard]] bool hasAttribute(const String& name) const noexcept { return getAttribute(name) != nullptr; }
    /// Raises EXmlNoAttribute when there is none.
    [[nodiscard]] String getAttributeValue(const String& name) const;
    /// Replaces the attribute's value or appends the attribute.
    void setAttribute(const String& name, const String& value,
                      AttributeValue::Quote quote = AttributeValue::Quote::Double);

    /// Of the "<" of the start tag, and just behind the end tag (String::npos when that is missing).
    [[nodiscard]] unsigned getStartPosition() const noexcept { return m_start; }
    [[nodiscard]] unsigned getEndPosition() const noexcept { return m_end; }

    /// Descends by names separated by "/", compared exactly, to the first such child at each step. None when a step
    /// finds nothing; an empty step is logged as an error as well.
    [[nodiscard]] Element* getNodeByPath(const String& path) const;

    /// Parses from behind the element's name to behind its end tag; String::npos when the document ends before. Any
    /// end tag closes the element, whatever name it carries. Raises EXmlElement, after a log line, for what cannot be
    /// parsed and for elements nested deeper than Storage::kDeepestNesting.
    unsigned parse(const String& text, unsigned pos) override;
    /// What the document's parser does before parse(): the name lies between the "<" at `start` and `nameEnd`.
    void openRoot(const String& text, unsigned start, unsigned nameEnd);

    /// Texts are written as they are, so that a parsed document comes out as it went in, but for blanks, the case of
    /// element names, and the names in end tags.
    void toXml(String& out) const override;

private:
    struct Tag {
        unsigned attributesEnd;
        unsigned end;
        bool selfClosing;
    };
    struct Declarations;
    class OpenElement;

    void takeName(Piece name) noexcept {
        m_qualifiedName = name;
        m_local = 0;
    }
    void append(Node* child) noexcept;
    void append(Attribute* attribute) noexcept;
    [[nodiscard]] Element* firstElement(Piece name) const noexcept;

    // The parse, in elementparse.cpp.
    void open(Piece name, unsigned start);
    [[nodiscard]] Tag findTagEnd(unsigned pos) const;
    void parseAttributes(const String& text, unsigned pos, unsigned end);
    void takeAttribute(Attribute* attribute, Declarations& declarations);
    void declareDefault(Piece name);
    void declarePrefix(Piece prefix, Piece name, Declarations& declarations);
    void resolveName();
    void resolveAttributes();
    void addDeclaration(const Namespace& used);
    unsigned parseContent(const String& text, unsigned pos);
    unsigned endWithoutTag(unsigned pos);
    unsigned takeComment(unsigned start);
    unsigned skipDeclaration(unsigned start);
    void takeText(unsigned from, unsigned to);
    unsigned parseChild(const String& text, unsigned start, Piece name, unsigned nameEnd);

    // Writing, in element.cpp.
    void writeStartTag(String& out) const;

    // Invariant: m_local <= m_qualifiedName.size(); the bytes before it are the resolved prefix and its ":".
    Piece m_qualifiedName;
    Piece m_namespace;
    Piece m_defaultNamespace;
    const NamespaceMap* m_prefixes = nullptr;
    Attribute* m_firstAttribute = nullptr;
    Attribute* m_lastAttribute = nullptr;
    Node* m_firstChild = nullptr;
    Node* m_lastChild = nullptr;
    unsigned m_local = 0;
    unsigned m_start = 0;
    unsigned m_end = String::npos;
    bool m_declaresDefault = false;
    /// m_prefixes holds declarations of this element's own tag.
    bool m_declaresPrefixes = false;
};

inline Element* following(const Element& element) noexcept { return firstElementFrom(element.getNextSibling()); }

}  // namespace tessel::xml
