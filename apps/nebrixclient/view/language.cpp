// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/view/language.h"

#include <algorithm>

#include "libs/base/log.h"

namespace tessel::view {

namespace {

constexpr const char* kLogClass = "NebrixClientGui";
constexpr const char* kFallback = "en";

using Languages = std::span<const char* const>;

void trace(const char* method, const String& text) { log(LogCategory::Trace, kLogClass, String(method), text); }

bool isOneOf(Languages languages, const String& code) {
    return std::ranges::any_of(languages, [&code](const char* language) { return code == language; });
}

String systemLanguage(Languages languages, const std::function<std::optional<String>()>& systemLocale) {
    constexpr const char* kMethod = "selectLocale";
    trace(kMethod, "checking system locale");
    const std::optional<String> name = systemLocale();
    if (!name.has_value()) {
        trace(kMethod, "unable to find system locale");
        return kFallback;
    }
    trace(kMethod, "system locale is: " + *name);
    for (const String& code : {*name, name->left('_')}) {
        if (isOneOf(languages, code)) {
            return code;
        }
    }
    trace(kMethod, "unsupported system locale");
    return kFallback;
}

}  // namespace

String selectLanguage(const String& requested, Languages languages,
                      const std::function<std::optional<String>()>& systemLocale) {
    if (!requested.empty()) {
        if (isOneOf(languages, requested)) {
            return requested;
        }
        trace("setLangFromUrl", "Unsupported lang '" + requested + "'");
    }
    return systemLanguage(languages, systemLocale);
}

}  // namespace tessel::view
