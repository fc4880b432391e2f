// SPDX-License-Identifier: Apache-2.0
#include "libs/json/jsonmutwrapper.h"

#include <json/value.h>

#include "libs/json/jsonerrors.h"

namespace tessel::json {

namespace {

Json::Value textValue(const String& text) { return {text.begin(), text.end()}; }

/// Before any change, so that a refused one changes nothing.
void require(const Json::Value& value, Json::ValueType type) {
    if (!value.isNull() && value.type() != type) {
        raise<EJsonError>("EJsonError", sites::kNotConvertible);
    }
}

}  // namespace

JSONMutWrapper::JSONMutWrapper()
    : std::unique_ptr<Json::Value>(std::make_unique<Json::Value>()),
      JSONWrapper(std::unique_ptr<Json::Value>::operator*()) {}

JSONMutWrapper::JSONMutWrapper(const JSONWrapper& other) : JSONMutWrapper() { value() = other.get_ref(); }

JSONMutWrapper::JSONMutWrapper(const JSONMutWrapper& other) : JSONMutWrapper() { value() = other.get_ref(); }

JSONMutWrapper& JSONMutWrapper::operator=(const JSONMutWrapper& other) {
    if (this != &other) {
        value() = other.get_ref();
    }
    return *this;
}

JSONMutWrapper::~JSONMutWrapper() = default;

JSONMutWrapper JSONMutWrapper::object() {
    JSONMutWrapper made;
    made.value() = Json::Value(Json::objectValue);
    return made;
}

JSONMutWrapper JSONMutWrapper::array() {
    JSONMutWrapper made;
    made.value() = Json::Value(Json::arrayValue);
    return made;
}

JSONMutWrapper& JSONMutWrapper::setValue(const String& key, Json::Value&& added) {
    require(value(), Json::objectValue);
    *value().demand(key.begin(), key.end()) = std::move(added);
    return *this;
}

JSONMutWrapper& JSONMutWrapper::appendValue(Json::Value&& added) {
    require(value(), Json::arrayValue);
    value().append(std::move(added));
    return *this;
}

JSONMutWrapper& JSONMutWrapper::set(const String& key, const String& text) { return setValue(key, textValue(text)); }
JSONMutWrapper& JSONMutWrapper::set(const String& key, int number) { return setValue(key, Json::Value(number)); }
JSONMutWrapper& JSONMutWrapper::set(const String& key, unsigned number) { return setValue(key, Json::Value(number)); }
JSONMutWrapper& JSONMutWrapper::set(const String& key, bool flag) { return setValue(key, Json::Value(flag)); }
JSONMutWrapper& JSONMutWrapper::set(const String& key, const JSONWrapper& other) {
    return setValue(key, Json::Value(other.get_ref()));
}
JSONMutWrapper& JSONMutWrapper::append(const String& text) { return appendValue(textValue(text)); }
JSONMutWrapper& JSONMutWrapper::append(int number) { return appendValue(Json::Value(number)); }
JSONMutWrapper& JSONMutWrapper::append(unsigned number) { return appendValue(Json::Value(number)); }
JSONMutWrapper& JSONMutWrapper::append(bool flag) { return appendValue(Json::Value(flag)); }
JSONMutWrapper& JSONMutWrapper::append(const JSONWrapper& other) { return appendValue(Json::Value(other.get_ref())); }

JSONMutWrapper& JSONMutWrapper::remove(const String& key) {
    require(value(), Json::objectValue);
    value().removeMember(key.begin(), key.end(), nullptr);
    return *this;
}

}  // namespace tessel::json
