// SPDX-License-Identifier: Apache-2.0
#include <unordered_set>
#include <vector>

#include "libs/xml/comment.h"
#include "libs/xml/element.h"
#include "libs/xml/scan.h"
#include "libs/xml/text.h"
#include "libs/xml/xmlerrors.h"

namespace tessel::xml {

namespace {

constexpr Piece kDeclaration = "xmlns";

/// Behind the value that starts after an "=". A quote that is not closed is stepped over: the attribute's own parse
/// then says what is wrong.
unsigned skipValue(std::string_view text, unsigned pos) {
    const unsigned start = skipBlanks(text, pos);
    if (start == String::npos || (text[start] != '"' && text[start] != '\'')) {
        return findClass(text, scan::kValueEnd, start);
    }
    const unsigned close = findByte(text, text[start], start + 1);
    return close == String::npos ? start + 1 : close + 1;
}

/// The piece itself when it has no upper-case letter, else a copy in lower case.
Piece lowerName(Storage& storage, Piece name) {
    return findClass(name, scan::kUpper, 0) == String::npos ? name : storage.keepLower(name);
}

/// The bytes before the first ":", or npos of them.
std::size_t prefixLength(Piece name) { return name.find(':'); }

}  // namespace

/// What the attributes of one start tag declare.
struct Element::Declarations {
    std::vector<Namespace> prefixes;
    /// The prefix of the element's own name is among them.
    bool ownPrefix = false;
};

/// Counts an element as open while its parse runs.
class Element::OpenElement {
public:
    explicit OpenElement(Storage& storage) : m_storage(storage) {
        if (m_storage.depth >= Storage::kDeepestNesting) {
            m_storage.report(LogCategory::Error, "xml.Element", "parse", "elements are nested too deeply");
            raise<EXmlElement>("EXmlElement", sites::kNestedTooDeeply);
        }
        ++m_storage.depth;
    }
    OpenElement(const OpenElement&) = delete;
    OpenElement& operator=(const OpenElement&) = delete;
    ~OpenElement() { --m_storage.depth; }

private:
    Storage& m_storage;
};

void Element::openRoot(const String& text, unsigned start, unsigned nameEnd) {
    storage().anchor(text);
    open(trimmed(text.view().substr(start + 1, nameEnd - start - 1)), start);
}

void Element::open(Piece name, unsigned start) {
    takeName(lowerName(storage(), name));
    m_start = start;
}

unsigned Element::parse(const String& text, unsigned pos) {
    storage().anchor(text);
    const OpenElement opened(storage());
    const Tag tag = findTagEnd(pos);
    if (skipBlanks(text.view(), pos) < tag.attributesEnd) {
        parseAttributes(text, pos, tag.attributesEnd);
    }
    resolveName();
    if (tag.selfClosing) {
        m_end = tag.end;
        return m_end;
    }
    return parseContent(text, tag.end);
}

/// A ">" inside a quoted value does not end the tag.
Element::Tag Element::findTagEnd(unsigned pos) const {
    const std::string_view text = storage().text();
    std::size_t at = text.find_first_of(">=", pos);
    while (at != std::string_view::npos && text[at] == '=') {
        at = text.find_first_of(">=", skipValue(text, static_cast<unsigned>(at) + 1));
    }
    if (at == std::string_view::npos) {
        storage().report(LogCategory::Trace, "xml.Element", "parse", "cannot parse attributes");
        raise<EXmlElement>("EXmlElement", sites::kOpenStartTag);
    }
    const auto end = static_cast<unsigned>(at);
    const bool selfClosing = end > 0 && text[end - 1] == '/';
    return {selfClosing ? end - 1 : end, end + 1, selfClosing};
}

void Element::parseAttributes(const String& text, unsigned pos, unsigned end) {
    Declarations declarations;
    while (pos < end) {
        auto* attribute = storage().make<Attribute>(storage());
        try {
            pos = attribute->parse(text, pos);
        } catch (const EXmlAttribute& error) {
            logCaught(error, sites::kAttributeCaught);
            raise<EXmlElement>("EXmlElement", sites::kBadAttribute);
        }
        if (!attribute->name().empty()) {
            takeAttribute(attribute, declarations);
        }
    }
    if (!declarations.prefixes.empty()) {
        m_prefixes = NamespaceMap::make(storage(), declarations.prefixes, m_prefixes);
        m_declaresPrefixes = true;
    }
    resolveAttributes();
}

void Element::takeAttribute(Attribute* attribute, Declarations& declarations) {
    const Piece name = attribute->name();
    const Piece value = attribute->value().value();
    if (name == kDeclaration) {
        declareDefault(value);
    } else if (name.starts_with("xmlns:")) {
        declarePrefix(lowerName(storage(), name.substr(kDeclaration.size() + 1)), value, declarations);
    } else {
        append(attribute);
    }
}

void Element::declareDefault(Piece name) {
    if (m_declaresDefault) {
        storage().report(LogCategory::Trace, "Element", "parse", "redefinition of xmlns attribute");
        return;
    }
    m_declaresDefault = true;
    m_defaultNamespace = name;
    m_namespace = name;
}

void Element::declarePrefix(Piece prefix, Piece name, Declarations& declarations) {
    declarations.prefixes.push_back({prefix, name});
    const bool own = prefixLength(m_qualifiedName) == prefix.size() && m_qualifiedName.starts_with(prefix);
    if (!own) {
        return;
    }
    m_local = static_cast<unsigned>(prefix.size()) + 1;
    if (m_declaresDefault || declarations.ownPrefix) {
        storage().report(LogCategory::Trace, "Element", "parse", "redefinition of xmlns attribute : ", prefix);
        return;
    }
    declarations.ownPrefix = true;
    m_namespace = name;
}

void Element::resolveName() {
    const std::size_t length = prefixLength(name());
    if (length == Piece::npos) {
        return;
    }
    const Namespace* found = NamespaceMap::find(m_prefixes, name().substr(0, length));
    if (found == nullptr) {
        storage().report(LogCategory::Trace, "Element", "parse", "non-defined qualified name for element");
        return;
    }
    m_namespace = found->name;
    m_local += static_cast<unsigned>(length) + 1;
}

void Element::resolveAttributes() {
    std::unordered_set<const Namespace*> used;
    Attribute* const last = m_lastAttribute;
    for (Attribute* attribute = m_firstAttribute; attribute != nullptr; attribute = attribute->m_next) {
        const Piece name = attribute->name();
        const std::size_t length = prefixLength(name);
        if (length != Piece::npos && name.substr(0, length) != kDeclaration) {
            const Piece prefix = lowerName(storage(), name.substr(0, length));
            const Namespace* found = NamespaceMap::find(m_prefixes, prefix);
            if (found == nullptr) {
                storage().report(LogCategory::Trace, "Element", "parse",
                                 "non-defined qualified name for attribute : ", prefix);
            } else {
                if (used.insert(found).second) {
                    addDeclaration(*found);
                }
                if (prefix.data() != name.data()) {
                    attribute->setName(storage().keepJoined(prefix, name.substr(length)));
                }
            }
        }
        if (attribute == last) {
            return;
        }
    }
}

void Element::addDeclaration(const Namespace& used) {
    auto* attribute = storage().make<Attribute>(storage());
    attribute->setName(storage().keepJoined("xmlns:", used.prefix));
    attribute->setHasValue(true);
    attribute->value().setValue(used.name);
    attribute->m_added = m_declaresPrefixes && &used >= m_prefixes->begin() && &used < m_prefixes->end();
    append(attribute);
}

unsigned Element::parseContent(const String& text, unsigned pos) {
    const std::string_view bytes = text.view();
    while (true) {
        const unsigned start = findByte(bytes, '<', pos);
        if (start == String::npos) {
            return endWithoutTag(pos);
        }
        // Text directly before a comment or a declaration is dropped, by design: only a tag ends a text node.
        if (startsAt(bytes, "<!--", start)) {
            pos = takeComment(start);
            continue;
        }
        if (startsAt(bytes, "<?xml", start)) {
            pos = skipDeclaration(start);
            continue;
        }
        takeText(pos, start);
        const unsigned nameEnd = findClass(bytes, scan::kNameEnd, start + 1);
        if (nameEnd == String::npos) {
            storage().report(LogCategory::Error, "xml.element", "parse",
                             "bad xml file format: ", bytes.substr(start + 1));
            raise<EXmlElement>("EXmlElement", sites::kOpenName);
        }
        const Piece name = trimmed(bytes.substr(start + 1, nameEnd - start - 1));
        if (name.empty() && bytes[nameEnd] == '/') {
            const unsigned close = findByte(bytes, '>', nameEnd);
            m_end = close == String::npos ? close : close + 1;
            return m_end;
        }
        pos = parseChild(text, start, name, nameEnd);
    }
}

unsigned Element::endWithoutTag(unsigned pos) {
    const std::string_view text = storage().text();
    const Piece rest = pos < text.size() ? text.substr(pos) : Piece();
    storage().report(LogCategory::Trace, "xml.Element", "fromXml", "no tag found: ", rest);
    takeText(pos, String::npos);
    return String::npos;
}

/// A comment that does not end is logged, and what follows its delimiter is content.
unsigned Element::takeComment(unsigned start) {
    auto* comment = storage().make<Comment>(storage());
    unsigned end = 0;
    if (comment->tryParse(start, end)) {
        append(comment);
        return end;
    }
    if (storage().mayLog()) {
        // Not thrown: a document may hold millions of these.
        logCaught(EXmlComment("EXmlComment", sites::kOpenComment.file, sites::kOpenComment.line),
                  sites::kCommentCaught);
    }
    return start + 4;
}

unsigned Element::skipDeclaration(unsigned start) {
    const std::string_view text = storage().text();
    const unsigned end = findText(text, "?>", start);
    if (end == String::npos) {
        storage().report(LogCategory::Trace, "xml.Element", "parse", "bad xml file format: ", text);
        raise<EXmlElement>("EXmlElement", sites::kOpenInnerDeclaration);
    }
    return end + 2;
}

void Element::takeText(unsigned from, unsigned to) {
    const std::string_view text = storage().text();
    const Piece content = from < text.size() ? trimmed(text.substr(from, to - from)) : Piece();
    if (!content.empty()) {
        append(storage().make<Text>(storage(), content));
    }
}

unsigned Element::parseChild(const String& text, unsigned start, Piece name, unsigned nameEnd) {
    auto* child = storage().make<Element>(storage());
    child->open(name, start);
    if (m_declaresDefault) {
        // Inheritance reaches one level down, by design: an element hands on only what its own "xmlns" goes with.
        child->m_namespace = m_defaultNamespace;
        child->m_prefixes = m_prefixes;
    }
    append(child);
    return child->parse(text, nameEnd);
}

}  // namespace tessel::xml
