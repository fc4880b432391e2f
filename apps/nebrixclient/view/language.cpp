#include "apps/nebrixclient/view/language.h"

#include <map>

#include "libs/base/log.h"

namespace tessel::view {

namespace {

constexpr const char* kLogClass = "NebrixClientGui";

void trace(const char* method, const String& text) { log(LogCategory::Trace, kLogClass, String(method), text); }

Language systemLanguage(const std::function<std::optional<String>()>& systemLocale) {
    constexpr const char* kMethod = "selectLocale";
    trace(kMethod, "checking system locale");
    const std::optional<String> name = systemLocale();
    if (!name.has_value()) {
        trace(kMethod, "unable to find system locale");
        return Language::English;
    }
    trace(kMethod, "system locale is: " + *name);
    const std::optional<Language> language = languageFromCode(name->left('_'));
    if (!language.has_value()) {
        trace(kMethod, "unsupported system locale");
    }
    return language.value_or(Language::English);
}

}  // namespace

std::optional<Language> languageFromCode(const String& code) {
    static const std::map<String, Language> kLanguages = {
        {"fr", Language::French}, {"en", Language::English}, {"de", Language::German}, {"es", Language::Spanish}};
    const auto found = kLanguages.find(code);
    return found == kLanguages.end() ? std::nullopt : std::optional(found->second);
}

const char* languageCode(Language language) noexcept {
    switch (language) {
        case Language::French:
            return "fr";
        case Language::German:
            return "de";
        case Language::Spanish:
            return "es";
        case Language::English:
            break;
    }
    return "en";
}

Language selectLanguage(const String& requested, const std::function<std::optional<String>()>& systemLocale) {
    if (!requested.empty()) {
        if (const std::optional<Language> language = languageFromCode(requested); language.has_value()) {
            return *language;
        }
        trace("setLangFromUrl", "Unsupported lang '" + requested + "'");
    }
    return systemLanguage(systemLocale);
}

}  // namespace tessel::view
