// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>
#include <utility>
#include <vector>

#include "libs/base/gcobject.h"
#include "libs/base/serialize.h"
#include "libs/json/jsonwrapper.h"

namespace tessel::json {

/// Base of the readers of JSON values. What a kind of reader cannot give raises EJsonKeyReader; there is no key and
/// no attribute unless it says so.
///
/// The readers of members and elements are made when they are first asked for and then kept: they stand, and an array
/// keeps its place, as long as the reader that they came from. All refer into the document, which must outlive them.
/// Used by one thread at a time; the counts alone are atomic.
class JSONReader : public gc::ObjectDelete, public IKeyReader {
public:
    JSONReader(const JSONReader&) = delete;
    JSONReader& operator=(const JSONReader&) = delete;
    ~JSONReader() override = default;

    JSONReader& operator[](const char* key) override;
    JSONReader& operator[](const String& key) override;
    bool exists(const String& key) override;
    unsigned size(const String& key) override;
    bool hasAttribute(const String& name) override;
    String getAttribute(const String& name) override;
    void read(unsigned short& value) override;
    void read(unsigned int& value) override;
    void read(short& value) override;
    void read(int& value) override;
    void read(bool& value) override;
    void read(unsigned char& value) override;
    void read(char& value) override;
    void read(String& value) override;
    void read(Memory& value) override;
    void read(ISerialize& value) override;
    void read(Memory& value, unsigned length) override;
    void read(char* buffer, unsigned length) override;
    [[nodiscard]] unsigned sizeToRead() const override;
    [[nodiscard]] unsigned getReadPos() const override;
    void setReadPos(unsigned position) override;
    [[nodiscard]] const char* getClassName() const override { return "JSONReader"; }

protected:
    explicit JSONReader(const JSONWrapper& json) noexcept : m_json(json) {}
    [[nodiscard]] const JSONWrapper& json() const noexcept { return m_json; }

private:
    const JSONWrapper m_json;
};

/// A reader of the kind that the value's type calls for.
class JSONPolyReader {
public:
    JSONPolyReader() = default;
    explicit JSONPolyReader(const JSONWrapper& json);

    JSONReader& operator*() const& { return *m_reader; }
    JSONReader& operator*() const&& = delete;
    [[nodiscard]] const gc::Pointer<JSONReader>& reader() const& noexcept { return m_reader; }
    [[nodiscard]] gc::Pointer<JSONReader> reader() && noexcept { return std::move(m_reader); }

private:
    gc::Pointer<JSONReader> m_reader;
};

/// A null: nothing can be read from it.
class JSONNullReader final : public JSONReader {
public:
    explicit JSONNullReader(const JSONWrapper& json);
    [[nodiscard]] const char* getClassName() const override { return "JSONNullReader"; }
};

/// A number, text or boolean, converted as JSONWrapper does. A refused conversion raises the toolkit's EKeyReader.
class JSONValueReader final : public JSONReader {
public:
    explicit JSONValueReader(const JSONWrapper& json) noexcept : JSONReader(json) {}
    using JSONReader::read;
    void read(String& value) override;
    void read(int& value) override;
    void read(unsigned int& value) override;
    void read(bool& value) override;
    /// The text's bytes.
    void read(Memory& value) override;
    [[nodiscard]] const char* getClassName() const override { return "JSONValueReader"; }
};

/// An array, read as a list: each look-up, whatever its key, gives the next element. Raises EJsonKeyReader past the
/// last one.
class JSONArrayReader final : public JSONReader {
public:
    explicit JSONArrayReader(const JSONWrapper& json);
    using JSONReader::operator[];
    using JSONReader::read;
    JSONReader& operator[](const String& key) override;
    /// The number of elements, read or not, whatever the key.
    unsigned size(const String& key) override;
    void read(ISerialize& value) override;
    [[nodiscard]] const char* getClassName() const override { return "JSONArrayReader"; }

private:
    struct Element {
        const Json::Value* value;
        JSONPolyReader reader;
    };
    std::vector<Element> m_elements;
    unsigned m_cursor = 0;
};

/// An object: a look-up gives the member's reader, as often as one asks. Raises EJsonKeyReader for a missing one.
class JSONObjectReader final : public JSONReader {
public:
    explicit JSONObjectReader(const JSONWrapper& json);
    using JSONReader::read;
    JSONReader& operator[](const char* key) override { return *get(key); }
    JSONReader& operator[](const String& key) override { return *get(key.view()); }
    const gc::Pointer<JSONReader>& get(std::string_view key);
    const gc::Pointer<JSONReader>& get(const String& key) { return get(key.view()); }
    const gc::Pointer<JSONReader>& get(const char* key) { return get(std::string_view(key)); }
    /// False for a member that is null, as if it were not there.
    bool exists(const String& key) override;
    /// Of the array under the key; anything else raises EJsonKeyReader.
    unsigned size(const String& key) override;
    void read(ISerialize& value) override;
    [[nodiscard]] const char* getClassName() const override { return "JSONObjectReader"; }

private:
    struct Member {
        std::string_view name;
        const Json::Value* value;
        JSONPolyReader reader;
    };
    void getValues();
    Member* find(std::string_view key) noexcept;

    /// In ascending order of the names, which lie in the document.
    std::vector<Member> m_members;
};

}  // namespace tessel::json
