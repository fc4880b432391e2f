// SPDX-License-Identifier: Apache-2.0
#include "libs/xml/keyreader.h"

#include <algorithm>
#include <cstring>

#include "libs/base/log.h"
#include "libs/base/numbers.h"
#include "libs/xml/escape.h"
#include "libs/xml/text.h"
#include "libs/xml/xmlerrors.h"

namespace tessel::xml {

namespace {

[[noreturn]] void fail(RaiseSite site) { raise<EKeyReader>("EKeyReader", site); }

bool visible(const Node* node) { return !node->hidden() && node->getType() == Node::Type::Element; }

bool named(const Node* node, const String& key) {
    if (node->getType() != Node::Type::Element) {
        return false;
    }
    const Piece name = static_cast<const Element*>(node)->name();
    return String::global(name.data(), static_cast<unsigned>(name.size())).equalsNoCase2(key);
}

bool matches(const Node* node, const String& key) { return !node->hidden() && named(node, key); }

}  // namespace

KeyReader& KeyReader::operator[](const char* key) { return (*this)[String(key)]; }

KeyReader& KeyReader::operator[](const String& key) {
    Element* found = find(key);
    if (found == nullptr) {
        fail(sites::kNoKey);
    }
    return consume(*found);
}

void KeyReader::refreshScan() noexcept {
    // Whoever takes a hidden mark back brings nodes into view again that were passed by.
    if (m_scan.unhidings != m_element->unhidings() || m_scan.firstVisible == nullptr) {
        m_scan.unhidings = m_element->unhidings();
        m_scan.firstVisible = m_element->getFirstChild();
        m_scan.forKey = nullptr;
    }
    while (m_scan.firstVisible != nullptr && !visible(m_scan.firstVisible) &&
           m_scan.firstVisible->getNextSibling() != nullptr) {
        m_scan.firstVisible = m_scan.firstVisible->getNextSibling();
    }
}

Element* KeyReader::find(const String& key) {
    refreshScan();
    if (m_scan.forKey == nullptr || !(m_scan.key == key)) {
        m_scan.key = String::copy(key.view());
        m_scan.forKey = m_scan.firstVisible;
    }
    Node* node = m_scan.forKey;
    while (node != nullptr && !matches(node, key)) {
        // Stays on the last node, so that children appended later are still seen.
        m_scan.forKey = node;
        node = node->getNextSibling();
    }
    if (node != nullptr) {
        m_scan.forKey = node;
    }
    return static_cast<Element*>(node);
}

KeyReader& KeyReader::consume(Element& element) {
    element.hide(true);
    if (m_child == nullptr) {
        m_child = std::make_unique<KeyReader>(element);
    }
    m_child->moveTo(element);
    return *m_child;
}

void KeyReader::moveTo(Element& element) noexcept {
    m_element = &element;
    m_readPosition = 0;
    m_scan = {};
}

bool KeyReader::exists(const String& key) { return find(key) != nullptr; }

unsigned KeyReader::size(const String& key) {
    unsigned count = 0;
    for (const Node* node = m_element->getFirstChild(); node != nullptr; node = node->getNextSibling()) {
        count += named(node, key) ? 1 : 0;
    }
    return count;
}

bool KeyReader::hasAttribute(const String& name) { return m_element->hasAttribute(name); }

String KeyReader::getAttribute(const String& name) {
    const Attribute* attribute = m_element->getAttribute(name);
    return attribute != nullptr ? attribute->value().getValue() : String();
}

String KeyReader::text() const {
    const Text* text = m_element->getFirstText();
    return text != nullptr ? unescape(text->getText()) : String();
}

void KeyReader::read(String& value) { value = text(); }
void KeyReader::read(Memory& value) { value = Memory(text()); }
void KeyReader::read(int& value) { value = toInt32(text(), 10); }
void KeyReader::read(unsigned int& value) { value = toUint32(text(), 10); }
void KeyReader::read(short& value) { value = static_cast<short>(toInt32(text(), 10)); }
void KeyReader::read(unsigned short& value) { value = static_cast<unsigned short>(toUint32(text(), 10)); }

void KeyReader::read(char& value) {
    const String bytes = text();
    value = bytes.empty() ? '\0' : bytes[0];
}

void KeyReader::read(unsigned char& value) {
    char byte = 0;
    read(byte);
    value = static_cast<unsigned char>(byte);
}

void KeyReader::read(bool& value) {
    const String word = text();
    if (word.equalsNoCase2("true", 4) || word.equalsNoCase2("yes", 3) || word == "1") {
        value = true;
    } else if (word.equalsNoCase2("false", 5) || word.equalsNoCase2("no", 2) || word == "0") {
        value = false;
    } else {
        log(LogCategory::Trace, "xml.KeyReader", "read", "cannot read boolean");
        fail(sites::kNoBoolean);
    }
}

void KeyReader::read(ISerialize& value) { value.write(static_cast<IKeyReader&>(*this)); }

String KeyReader::take(unsigned length) {
    const String bytes = text();
    if (m_readPosition > bytes.length() || length > bytes.length() - m_readPosition) {
        fail(sites::kTooShort);
    }
    m_readPosition += length;
    return bytes.range(m_readPosition - length, m_readPosition);
}

void KeyReader::read(Memory& value, unsigned length) { value = Memory(take(length)); }

void KeyReader::read(char* buffer, unsigned length) {
    const String bytes = take(length);
    std::memcpy(buffer, bytes.array(), length);
}

unsigned KeyReader::sizeToRead() const {
    const unsigned length = text().length();
    return length - std::min(length, m_readPosition);
}

}  // namespace tessel::xml
