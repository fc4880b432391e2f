// SPDX-License-Identifier: Apache-2.0
#include "libs/xml/element.h"

#include <algorithm>

#include "libs/xml/scan.h"
#include "libs/xml/text.h"
#include "libs/xml/xmlerrors.h"

namespace tessel::xml {

namespace {

void addValue(String& out, Piece text) {
    AttributeValue value;
    value.setValue(text);
    out.append("=").append(value.toString());
}

void addAttribute(String& out, const Attribute& attribute) {
    out.append(" ").append(attribute.toString());
    const AttributeValue& value = attribute.value();
    if (attribute.hasValue() && value.getQuote() == AttributeValue::Quote::No) {
        // Without these the next attribute would become the value, or a final "/" the end of the tag.
        out.append(value.value().empty() ? "\"\"" : value.value().back() == '/' ? " " : "");
    }
}

}  // namespace

String Element::getNamespace(const String& prefix) const {
    const Namespace* found = NamespaceMap::find(m_prefixes, prefix.view());
    return found != nullptr ? storage().string(found->name) : String();
}

Element* firstElementFrom(Node* node) noexcept {
    while (node != nullptr && node->getType() != Node::Type::Element) {
        node = node->getNextSibling();
    }
    return static_cast<Element*>(node);
}

Text* Element::getFirstText() const noexcept {
    for (Node& child : children()) {
        if (child.getType() == Type::Text) {
            return static_cast<Text*>(&child);
        }
    }
    return nullptr;
}

void Element::append(Node* child) noexcept {
    (m_lastChild != nullptr ? m_lastChild->m_next : m_firstChild) = child;
    m_lastChild = child;
}

void Element::append(Attribute* attribute) noexcept {
    (m_lastAttribute != nullptr ? m_lastAttribute->m_next : m_firstAttribute) = attribute;
    m_lastAttribute = attribute;
}

void Element::appendChild(std::unique_ptr<Node> child) {
    Node* const node = child.get();
    storage().adopt(std::move(child));
    append(node);
}

const Attribute* Element::getAttribute(const String& name) const noexcept {
    for (const Attribute& attribute : attributes()) {
        if (attribute.name() == name) {
            return &attribute;
        }
    }
    return nullptr;
}

String Element::getAttributeValue(const String& name) const {
    const Attribute* attribute = getAttribute(name);
    if (attribute == nullptr) {
        raise<EXmlNoAttribute>("EXmlNoAttribute", sites::kNoSuchAttribute);
    }
    return attribute->value().getValue();
}

void Element::setAttribute(const String& name, const String& value, AttributeValue::Quote quote) {
    Attribute* attribute = m_firstAttribute;
    while (attribute != nullptr && attribute->name() != name.view()) {
        attribute = attribute->m_next;
    }
    if (attribute == nullptr) {
        attribute = storage().make<Attribute>(storage());
        attribute->setName(name);
        append(attribute);
    }
    attribute->setHasValue(true);
    attribute->value().setValue(value);
    attribute->value().setQuote(quote);
}

Element* Element::firstElement(Piece name) const noexcept {
    for (Element& child : elements()) {
        if (child.name() == name) {
            return &child;
        }
    }
    return nullptr;
}

Element* Element::getNodeByPath(const String& path) const {
    const Element* reached = this;
    Element* found = nullptr;
    const std::string_view steps = path.view();
    for (std::size_t from = 0; from <= steps.size();) {
        const std::size_t end = std::min(steps.find('/', from), steps.size());
        if (end == from) {
            log(LogCategory::Error, "Element", "getNodeByPath", "empty item in the searched path");
            return nullptr;
        }
        found = reached->firstElement(steps.substr(from, end - from));
        if (found == nullptr) {
            return nullptr;
        }
        reached = found;
        from = end + 1;
    }
    return found;
}

void Element::writeStartTag(String& out) const {
    out.append("<").append(m_qualifiedName);
    if (m_declaresDefault) {
        out.append(" xmlns");
        addValue(out, m_defaultNamespace);
    }
    if (m_declaresPrefixes) {
        for (const Namespace& one : *m_prefixes) {
            out.append(" xmlns:").append(one.prefix);
            addValue(out, one.name);
        }
    }
    for (const Attribute& attribute : attributes()) {
        if (!attribute.m_added) {
            addAttribute(out, attribute);
        }
    }
    out.append(">");
}

void Element::toXml(String& out) const {
    writeStartTag(out);
    for (const Node& child : children()) {
        child.toXml(out);
    }
    out.append("</", m_qualifiedName, ">");
}

}  // namespace tessel::xml
