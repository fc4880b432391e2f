// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <json/json.h>

#include <string>
#include <vector>

#include "sdk/include/nebrix_component.h"

namespace nebrix::test {

inline std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts(1);
    for (const char byte : text) {
        if (byte == separator)
            parts.emplace_back();
        else
            parts.back() += byte;
    }
    return parts;
}

/// A component, opened and never closed, as the client does it.
class Component {
public:
    explicit Component(const char* path) : m_handle(::dlopen(path, RTLD_NOW)) {
        if (m_handle == nullptr)
            throw std::runtime_error(::dlerror());
    }
    template <class Entry>
    [[nodiscard]] Entry entry(const char* name) const {
        return reinterpret_cast<Entry>(::dlsym(m_handle, name));
    }

private:
    void* m_handle;
};

/// A plug-in with one instance.
class Plugin : public Component {
public:
    using Component::Component;
    [[nodiscard]] void* instance() const { return m_instance; }
    void set(const char* setter, const std::string& value) const {
        entry<NebrixDllSetLogin2>(setter)(m_instance, value.c_str());
    }
    void call(const char* name) const { entry<NebrixDllStart2>(name)(m_instance); }
    [[nodiscard]] int execute(const char* a, const char* b = "") const {
        return entry<NebrixDllExecute2>(NEBRIX_NAME_EXECUTE)(m_instance, a, b, "");
    }
    /// A returned string, copied and given back.
    [[nodiscard]] std::string text(const char* getter) const {
        char* const text = entry<NebrixDllGetLogs2>(getter)(m_instance);
        std::string copy = text == nullptr ? "" : text;
        entry<NebrixDllReleaseStr>(NEBRIX_NAME_RELEASE_STR)(text);
        return copy;
    }
    /// The status list of one poll as "5:status" and "8:reason".
    [[nodiscard]] std::vector<std::string> poll() const {
        Json::Value list;
        EXPECT_TRUE(Json::Reader().parse(text(NEBRIX_NAME_GET_ERRORS), list) && list.isArray());
        std::vector<std::string> messages;
        for (const Json::Value& message : list) {
            const char* const member = message["code"].asInt() == NEBRIX_MESSAGE_STATUS ? "status" : "reason";
            messages.push_back(message["code"].asString() + ":" + message[member].asString());
        }
        return messages;
    }

private:
    void* m_instance = entry<NebrixDllCreatePluginFrontal>(NEBRIX_NAME_CREATE_PLUGIN_FRONTAL)();
};

}  // namespace nebrix::test
