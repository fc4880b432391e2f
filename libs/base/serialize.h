// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/base/lifetime.h"
#include "libs/base/memory.h"
#include "libs/base/string.h"

namespace tessel {

class IReader;
class IWriter;
class IKeyReader;
class IKeyWriter;

/// What can be saved and loaded. The operations are named from the point of view of the data source: read() puts the
/// object's fields out into a writer (saving), write() fills them from a reader (loading).
class ISerialize {
public:
    virtual void read(IWriter& writer) const = 0;
    virtual void read(IKeyWriter& writer) const = 0;
    virtual void write(IReader& reader) = 0;
    virtual void write(IKeyReader& reader) = 0;
    virtual ~ISerialize() = default;
};

/// A source of typed values. Each read() raises an exception of the source's own when it cannot give the type; the
/// defaults here raise ENotImplemented, except that an object is let fill itself. Used by one thread at a time.
class IReader {
public:
    virtual void read(unsigned short& value);
    virtual void read(unsigned int& value);
    virtual void read(short& value);
    virtual void read(int& value);
    virtual void read(bool& value);
    virtual void read(unsigned char& value);
    virtual void read(char& value);
    virtual void read(String& value);
    virtual void read(Memory& value);
    virtual void read(ISerialize& value);
    virtual void read(Memory& value, unsigned length);
    virtual void read(char* buffer, unsigned length);
    [[nodiscard]] virtual unsigned sizeToRead() const;
    [[nodiscard]] virtual unsigned getReadPos() const;
    virtual void setReadPos(unsigned position);
    [[nodiscard]] virtual const char* getClassName() const { return "IReader"; }
    virtual ~IReader() = default;
};

/// A keyed source: operator[] gives the reader of a member, which belongs to this reader and stands only until the
/// next look-up on it: it is not to be taken from a temporary. Keys are written in lower case.
class IKeyReader : public IReader {
public:
    using IReader::read;
    /// Lets the object fill itself from the keys below.
    void read(ISerialize& value) override;
    virtual IKeyReader& operator[](const char* key) TESSEL_LIFETIMEBOUND = 0;
    virtual IKeyReader& operator[](const String& key) TESSEL_LIFETIMEBOUND = 0;
    /// Whether the next look-up of the key will find something.
    virtual bool exists(const String& key) = 0;
    /// How many items there are under the key, read or not: in XML the elements of that name, 0 when there is none, in
    /// JSON the elements of the array that stands there. A reader of a JSON array gives its own number of elements,
    /// whatever the key. What cannot be a list, or in JSON is missing, raises.
    virtual unsigned size(const String& key) = 0;
    virtual bool hasAttribute(const String& name);
    virtual String getAttribute(const String& name);
    [[nodiscard]] const char* getClassName() const override { return "IKeyReader"; }
};

/// A sink of typed values: numbers as decimal text, booleans as "true" or "false", unless the sink says otherwise.
class IWriter {
public:
    virtual void write(const char* data, unsigned length) = 0;
    virtual void write(const String& value) { write(value.array(), value.length()); }
    /// A C string would otherwise be taken for a boolean.
    void write(const char* value) { write(String(value)); }
    template <NoValue T>
    void write(T) = delete;
    virtual void write(const Memory& value);
    virtual void write(int value);
    virtual void write(unsigned value);
    virtual void write(bool value);
    /// Lets the object put its fields out, unkeyed.
    virtual void write(const ISerialize& value);
    virtual ~IWriter() = default;
};

/// A keyed sink: operator[] opens a member and gives its writer, which belongs to this writer and stands only until
/// the next one is opened or this writer itself takes a value.
class IKeyWriter {
public:
    virtual IKeyWriter& operator[](const char* key) TESSEL_LIFETIMEBOUND = 0;
    virtual IKeyWriter& operator[](const String& key) TESSEL_LIFETIMEBOUND = 0;
    virtual void write(const String& value) = 0;
    /// A C string would otherwise be taken for a boolean.
    void write(const char* value) { write(String(value)); }
    template <NoValue T>
    void write(T) = delete;
    virtual void write(bool value) = 0;
    virtual void write(int value) = 0;
    virtual void write(unsigned value) = 0;
    /// Lets the object put its fields out below this member.
    virtual void write(const ISerialize& value);
    virtual ~IKeyWriter() = default;
};

/// Appends every value to a String, with no separator and no length.
class StringWriter final : public IWriter {
public:
    using IWriter::write;
    explicit StringWriter(String& target) noexcept : m_target(target) {}
    void write(const char* data, unsigned length) override { m_target.append(data, length); }
    void write(const String& value) override { m_target.append(value); }

private:
    String& m_target;
};

}  // namespace tessel
