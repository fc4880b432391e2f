// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/json/jsonwrapper.h"

namespace tessel::json {

/// A value that is built piece by piece, and owned: what a program writes as JSON. Starts as null and becomes an
/// object with the first set(), an array with the first append(). A copy is a deep one; what is set is copied too.
///
/// Readers and handles made before a change do not survive it. Raises EJsonError when a value is no object, or no
/// array, any more.
class JSONMutWrapper final : private std::unique_ptr<Json::Value>, public JSONWrapper {
public:
    JSONMutWrapper();
    /// A deep copy, also of a parsed value.
    explicit JSONMutWrapper(const JSONWrapper& other);
    JSONMutWrapper(const JSONMutWrapper& other);
    JSONMutWrapper& operator=(const JSONMutWrapper& other);
    ~JSONMutWrapper() override;

    /// Empty ones.
    static JSONMutWrapper object();
    static JSONMutWrapper array();

    /// Each returns this value, so that calls can be chained.
    JSONMutWrapper& set(const String& key, const String& text);
    JSONMutWrapper& set(const String& key, const char* text) { return set(key, String(text)); }
    JSONMutWrapper& set(const String& key, int number);
    JSONMutWrapper& set(const String& key, unsigned number);
    JSONMutWrapper& set(const String& key, bool flag);
    JSONMutWrapper& set(const String& key, const JSONWrapper& other);
    template <NoValue T>
    JSONMutWrapper& set(const String& key, T) = delete;
    JSONMutWrapper& append(const String& text);
    JSONMutWrapper& append(const char* text) { return append(String(text)); }
    JSONMutWrapper& append(int number);
    JSONMutWrapper& append(unsigned number);
    JSONMutWrapper& append(bool flag);
    JSONMutWrapper& append(const JSONWrapper& other);
    template <NoValue T>
    JSONMutWrapper& append(T) = delete;
    JSONMutWrapper& remove(const String& key);

private:
    JSONMutWrapper& setValue(const String& key, Json::Value&& added);
    JSONMutWrapper& appendValue(Json::Value&& added);
    [[nodiscard]] Json::Value& value() { return std::unique_ptr<Json::Value>::operator*(); }
};

}  // namespace tessel::json
