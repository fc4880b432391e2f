// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/view/language.h"

#include <gtest/gtest.h>

namespace tessel::view {
namespace {

const char* const kLanguages[] = {"de", "en", "es", "fr", "pt", "pt_BR"};

/// "-" as the system's locale: there is none.
const char* const kChoices[][3] = {{"en", "fr_FR", "en"},  {"fr", "", "fr"},       {"es", "-", "es"},
                                   {"ES", "de_AT", "de"},  {"it", "-", "en"},      {"", "de", "de"},
                                   {"", "_fr", "en"},      {"", "pt_BR", "pt_BR"}, {"fr_CA", "pt_PT", "pt"},
                                   {"pt_BR", "-", "pt_BR"}};

TEST(Language, isTheRequestedOneThenTheSystemsThenEnglish) {
    for (const auto& [requested, system, chosen] : kChoices) {
        const auto systemLocale = [name = String(system)] { return name == "-" ? std::nullopt : std::optional(name); };
        EXPECT_EQ(selectLanguage(requested, kLanguages, systemLocale), chosen) << requested;
    }
}

}  // namespace
}  // namespace tessel::view
