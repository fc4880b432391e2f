#include "apps/nebrixclient/view/language.h"

#include <gtest/gtest.h>

namespace tessel::view {
namespace {

/// "-" as the system's locale: there is none.
const char* const kChoices[][3] = {{"en", "fr_FR", "en"}, {"fr", "", "fr"}, {"es", "-", "es"}, {"ES", "de_AT", "de"},
                                   {"pt", "-", "en"},     {"", "de", "de"}, {"", "_fr", "en"}};

TEST(Language, isTheRequestedOneThenTheSystemsThenEnglish) {
    for (const auto& [requested, system, chosen] : kChoices) {
        const auto systemLocale = [name = String(system)] { return name == "-" ? std::nullopt : std::optional(name); };
        EXPECT_STREQ(languageCode(selectLanguage(requested, systemLocale)), chosen) << requested;
    }
}

}  // namespace
}  // namespace tessel::view
