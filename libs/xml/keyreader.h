// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "libs/base/serialize.h"
#include "libs/xml/element.h"

namespace tessel::xml {

/// Serves the elements of a document by key.
///
/// A look-up finds the first child element of that name (in any case; the key is in lower case) that is not hidden,
/// and hides it: asking again gives the next one, so that a repeated element is read as a list, and each element is
/// read once. Every look-up on a reader returns the same child reader, which belongs to it and stands until the next
/// one: it is not to be taken from a temporary.
///
/// The document must outlive the reader. Reading a list costs time in line with the children it passes. Raises
/// xml::EKeyReader for a missing key and for a text that is no boolean; numbers never fail.
class KeyReader : public IKeyReader {
public:
    explicit KeyReader(Element& element) noexcept : m_element(&element) {}
    KeyReader(const KeyReader&) = delete;
    KeyReader& operator=(const KeyReader&) = delete;
    ~KeyReader() override = default;

    KeyReader& operator[](const char* key) TESSEL_LIFETIMEBOUND override;
    KeyReader& operator[](const String& key) TESSEL_LIFETIMEBOUND override;
    /// Neither consumes anything. The size counts what was consumed, too.
    bool exists(const String& key) override;
    unsigned size(const String& key) override;
    bool hasAttribute(const String& name) override;
    /// Empty when there is none; the value as the parser has it.
    String getAttribute(const String& name) override;

    /// The element's first text, with what escape() did undone; empty when it has none.
    void read(String& value) override;
    /// The text's bytes.
    void read(Memory& value) override;
    void read(int& value) override;
    void read(unsigned int& value) override;
    void read(short& value) override;
    void read(unsigned short& value) override;
    /// The text's first byte, 0 when it is empty.
    void read(char& value) override;
    void read(unsigned char& value) override;
    /// "true", "yes" or "1", "false", "no" or "0", in any case.
    void read(bool& value) override;
    void read(ISerialize& value) override;
    /// Bytes of the text from the read position on, which moves. Raises xml::EKeyReader when there are not as many.
    void read(Memory& value, unsigned length) override;
    void read(char* buffer, unsigned length) override;
    [[nodiscard]] unsigned sizeToRead() const override;
    [[nodiscard]] unsigned getReadPos() const override { return m_readPosition; }
    void setReadPos(unsigned position) override { m_readPosition = position; }
    [[nodiscard]] const char* getClassName() const override { return "KeyReader"; }

    [[nodiscard]] Element& element() const noexcept { return *m_element; }

protected:
    /// The next match, or none.
    virtual Element* find(const String& key);

private:
    /// Where a scan may start without passing by a match: everything before firstVisible is hidden or no element;
    /// before forKey that or, for the key of the last look-up, an element of another name.
    struct ScanStart {
        unsigned unhidings = 0;
        Node* firstVisible = nullptr;
        String key;
        Node* forKey = nullptr;
    };

    /// Hides the element and stands the child reader on it.
    KeyReader& consume(Element& element);
    void moveTo(Element& element) noexcept;
    void refreshScan() noexcept;
    [[nodiscard]] String text() const;
    String take(unsigned length);

    Element* m_element;
    std::unique_ptr<KeyReader> m_child;
    unsigned m_readPosition = 0;
    ScanStart m_scan;
};

}  // namespace tessel::xml
