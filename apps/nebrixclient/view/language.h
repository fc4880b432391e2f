#pragma once

#include <functional>
#include <optional>

#include "libs/base/string.h"

namespace tessel::view {

/// The languages that there are catalogs for. Everything here may be called on any thread.
enum class Language { English, French, German, Spanish };

/// For exactly "en", "fr", "de" or "es", in this case only.
std::optional<Language> languageFromCode(const String& code);
/// The two-letter code, which is also the catalog's directory.
const char* languageCode(Language language) noexcept;

/// The language to show texts in: the requested code if there is a catalog for it, else the system's, else English.
/// Why it is not the one before is logged.
///
/// `systemLocale` gives the system locale's canonical name, such as "fr_FR" or "de", or nothing when it cannot be
/// found; it is asked only when the request decides nothing.
Language selectLanguage(const String& requested, const std::function<std::optional<String>()>& systemLocale);

}  // namespace tessel::view
