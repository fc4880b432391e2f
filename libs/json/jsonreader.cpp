// SPDX-License-Identifier: Apache-2.0
#include "libs/json/jsonreader.h"

#include <json/value.h>

#include <algorithm>

#include "libs/base/assertion.h"
#include "libs/json/jsonerrors.h"

namespace tessel::json {

namespace {

// What was expected where something else stands, for the exceptions' facts.
constexpr const char* kText = "a text";
constexpr const char* kInteger = "a whole number";
constexpr const char* kUnsigned = "a whole number that is not negative";
constexpr const char* kBoolean = "true or false";
constexpr const char* kObject = "an object";
constexpr const char* kList = "a list";

[[noreturn]] void fail(RaiseSite site) { raise<EJsonKeyReader>("EJsonKeyReader", site); }
[[noreturn]] void unsupported(const char* expected = "") {
    raise<EJsonKeyReader>("EJsonKeyReader", sites::kUnsupportedRead, {.words = expected});
}

const gc::Pointer<JSONReader>& made(JSONPolyReader& reader, const Json::Value& value) {
    if (!reader.reader().valid()) {
        reader = JSONPolyReader(JSONWrapper(value));
    }
    return reader.reader();
}

/// Runs a conversion; a refused one means that the value is of the wrong type for the object being filled.
template <class Convert>
auto converted(Convert convert, const char* expected, RaiseSite site) {
    try {
        return convert();
    } catch (const EJsonError&) {
        raise<EKeyReader>("EKeyReader", site, {.words = expected});
    }
}

}  // namespace

JSONReader& JSONReader::operator[](const char* key) { return (*this)[String(key)]; }
JSONReader& JSONReader::operator[](const String&) { unsupported(kObject); }
bool JSONReader::exists(const String&) { return false; }
unsigned JSONReader::size(const String&) { unsupported(kList); }
bool JSONReader::hasAttribute(const String&) { return false; }
String JSONReader::getAttribute(const String&) { return {}; }
void JSONReader::read(unsigned short&) { unsupported(); }
void JSONReader::read(unsigned int&) { unsupported(kUnsigned); }
void JSONReader::read(short&) { unsupported(); }
void JSONReader::read(int&) { unsupported(kInteger); }
void JSONReader::read(bool&) { unsupported(kBoolean); }
void JSONReader::read(unsigned char&) { unsupported(); }
void JSONReader::read(char&) { unsupported(); }
void JSONReader::read(String&) { unsupported(kText); }
void JSONReader::read(Memory&) { unsupported(); }
void JSONReader::read(ISerialize&) { unsupported(kObject); }
void JSONReader::read(Memory&, unsigned) { unsupported(); }
void JSONReader::read(char*, unsigned) { unsupported(); }
unsigned JSONReader::sizeToRead() const { unsupported(); }
unsigned JSONReader::getReadPos() const { unsupported(); }
void JSONReader::setReadPos(unsigned) { unsupported(); }

JSONPolyReader::JSONPolyReader(const JSONWrapper& json) {
    switch (json.getType()) {
        case JSON::nullValue:
            m_reader = new JSONNullReader(json);
            return;
        case JSON::intValue:
        case JSON::uintValue:
        case JSON::realValue:
        case JSON::stringValue:
        case JSON::booleanValue:
            m_reader = new JSONValueReader(json);
            return;
        case JSON::arrayValue:
            m_reader = new JSONArrayReader(json);
            return;
        case JSON::objectValue:
            m_reader = new JSONObjectReader(json);
            return;
    }
    raise<EJsonKeyReader>("BUG, missing case for polyreader", sites::kNoReader);
}

JSONNullReader::JSONNullReader(const JSONWrapper& json) : JSONReader(json) {
    TESSEL_ASSERT(json.getType() == JSON::nullValue, "json.getType() == JSON::nullValue", sites::kNotNull);
}

void JSONValueReader::read(String& value) {
    value = converted([this] { return json().asString(); }, kText, sites::kNoString);
}

void JSONValueReader::read(int& value) {
    value = converted([this] { return json().asInt32(); }, kInteger, sites::kNoInteger);
}

void JSONValueReader::read(unsigned int& value) {
    value = converted([this] { return json().asUInt32(); }, kUnsigned, sites::kNoUnsigned);
}

void JSONValueReader::read(bool& value) {
    value = converted([this] { return json().asBool(); }, kBoolean, sites::kNoBoolean);
}

void JSONValueReader::read(Memory& value) {
    String text;
    read(text);
    value = Memory(text);
}

JSONArrayReader::JSONArrayReader(const JSONWrapper& json) : JSONReader(json) {
    TESSEL_ASSERT(json.getType() == JSON::arrayValue, "json.getType() == JSON::arrayValue", sites::kNotArray);
    m_elements.reserve(json.size());
    for (const Json::Value& element : json.get_ref()) {
        m_elements.push_back({&element, {}});
    }
}

JSONReader& JSONArrayReader::operator[](const String&) {
    if (m_cursor >= m_elements.size()) {
        fail(sites::kArrayOverrun);
    }
    Element& element = m_elements[m_cursor++];
    return *made(element.reader, *element.value);
}

unsigned JSONArrayReader::size(const String&) { return static_cast<unsigned>(m_elements.size()); }

void JSONArrayReader::read(ISerialize& value) { value.write(static_cast<IKeyReader&>(*this)); }

JSONObjectReader::JSONObjectReader(const JSONWrapper& json) : JSONReader(json) {
    TESSEL_ASSERT(json.getType() == JSON::objectValue, "json.getType() == JSON::objectValue", sites::kNotObject);
    getValues();
}

void JSONObjectReader::getValues() {
    const Json::Value& object = json().get_ref();
    m_members.reserve(object.size());
    for (auto at = object.begin(), last = object.end(); at != last; ++at) {
        const char* end = nullptr;
        const char* name = at.memberName(&end);
        m_members.push_back({{name, static_cast<std::size_t>(end - name)}, &*at, {}});
    }
}

JSONObjectReader::Member* JSONObjectReader::find(std::string_view key) noexcept {
    const auto at = std::lower_bound(m_members.begin(), m_members.end(), key,
                                     [](const Member& member, std::string_view name) { return member.name < name; });
    return at != m_members.end() && at->name == key ? &*at : nullptr;
}

const gc::Pointer<JSONReader>& JSONObjectReader::get(std::string_view key) {
    Member* member = find(key);
    if (member == nullptr) {
        fail(sites::kMissingMember);
    }
    return made(member->reader, *member->value);
}

bool JSONObjectReader::exists(const String& key) {
    const Member* member = find(key.view());
    return member != nullptr && !member->value->isNull();
}

unsigned JSONObjectReader::size(const String& key) { return get(key)->size(key); }

void JSONObjectReader::read(ISerialize& value) { value.write(static_cast<IKeyReader&>(*this)); }

}  // namespace tessel::json
