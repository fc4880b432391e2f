// SPDX-License-Identifier: Apache-2.0
#include "libs/json/jsonwrapper.h"

#include <json/value.h>

#include <cstring>
#include <vector>

#include "libs/base/log.h"
#include "libs/json/jsonerrors.h"
#include "libs/json/jsonreader.h"

namespace tessel::json {

struct JSONWrapperConstIterator::Items {
    struct Item {
        String name;
        const Json::Value* value;
    };
    std::vector<Item> items;
};

JSONWrapper JSONWrapperConstIterator::operator*() const { return JSONWrapper(*m_items->items.at(m_index).value); }

String JSONWrapperConstIterator::name() const { return m_items->items.at(m_index).name; }

JSONWrapper::JSONWrapper(const Json::Value& value) noexcept : m_value(&value) {}

JSONWrapper::JSONWrapper(const JSONWrapper& other) noexcept : m_value(&other.get_ref()) {}

JSONWrapper& JSONWrapper::operator=(const JSONWrapper& other) noexcept {
    if (this != &other) {
        m_value = &other.get_ref();
        m_reader.clear();
    }
    return *this;
}

JSONWrapper::~JSONWrapper() = default;

JSON::Type JSONWrapper::getType() const {
    const Json::ValueType type = get_ref().type();
    if (type < Json::nullValue || type > Json::objectValue) {
        raise<EJsonError>("EJsonError", sites::kUnknownType);
    }
    return static_cast<JSON::Type>(type);
}

List<String> JSONWrapper::getMemberNames() const {
    List<String> names;
    for (const std::string& name : get_ref().getMemberNames()) {
        names.push_back(String::copy(name.c_str()));
    }
    return names;
}

JSONWrapperConstIterator JSONWrapper::begin() const {
    auto items = std::make_shared<JSONWrapperConstIterator::Items>();
    const Json::Value& value = get_ref();
    const bool named = value.isObject();
    for (auto at = value.begin(), last = value.end(); at != last; ++at) {
        items->items.push_back({named ? String::copy(at.name().c_str()) : String(), &*at});
    }
    return {std::move(items), 0};
}

JSONWrapperConstIterator JSONWrapper::end() const { return {nullptr, size()}; }

unsigned JSONWrapper::size() const { return get_ref().size(); }

JSONWrapper JSONWrapper::operator[](const String& key) const {
    const char* end = key.array() + strnlen(key.array(), key.length());
    const Json::Value* member = get_ref().find(key.array(), end);
    return JSONWrapper(member != nullptr ? *member : Json::Value::nullSingleton());
}

template <class T, class Convert>
T JSONWrapper::_as(Convert convert) const {
    try {
        return convert(get_ref());
    } catch (const Json::Exception& error) {
        log(LogCategory::Error, "JSONWrapper", "_as", String(String("JsonLogicError: ") + String::copy(error.what())));
    }
    raise<EJsonError>("EJsonError", sites::kNotConvertible);
}

String JSONWrapper::asString() const {
    return _as<String>([](const Json::Value& value) {
        const char* begin = nullptr;
        const char* end = nullptr;
        if (value.isString() && value.getString(&begin, &end)) {
            return String::copy(begin);
        }
        return String::copy(value.asString().c_str());
    });
}

int JSONWrapper::asInt32() const {
    return _as<int>([](const Json::Value& value) { return value.asInt(); });
}

unsigned JSONWrapper::asUInt32() const {
    return _as<unsigned>([](const Json::Value& value) { return value.asUInt(); });
}

bool JSONWrapper::asBool() const {
    return _as<bool>([](const Json::Value& value) { return value.asBool(); });
}

const gc::Pointer<JSONReader>& JSONWrapper::getReader() const& {
    if (!m_reader.valid()) {
        m_reader = JSONPolyReader(*this).reader();
    }
    return m_reader;
}

}  // namespace tessel::json
