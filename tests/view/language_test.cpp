#include "apps/nebrixclient/view/language.h"

#include <gtest/gtest.h>

#include "tests/support/systemlogcapture.h"

namespace tessel::view {
namespace {

/// "-" as the system's locale: there is none. What is logged: each line's method and text.
const std::tuple<const char*, const char*, const char*, std::string> kChoices[] = {
    {"en", "fr_FR", "en", ""},
    {"fr", "", "fr", ""},
    {"es", "-", "es", ""},
    {"ES", "de_AT", "de", ".setLangFromUrl Unsupported lang 'ES'.selectLocale system locale is: de_AT"},
    {"pt", "-", "en", ".setLangFromUrl Unsupported lang 'pt'.selectLocale unable to find system locale"},
    {"", "de", "de", ".selectLocale system locale is: de"},
    {"", "_fr", "en", ".selectLocale system locale is: _fr.selectLocale unsupported system locale"}};

TEST(Language, IsTheRequestedOneThenTheSystemsThenEnglish) {
    const nebrix::test::SystemLogCapture log;
    for (const auto& [requested, system, chosen, told] : kChoices) {
        log.clear();
        const auto systemLocale = [name = String(system)] { return name == "-" ? std::nullopt : std::optional(name); };
        EXPECT_STREQ(languageCode(selectLanguage(requested, systemLocale)), chosen) << requested;
        std::string logged;
        for (const auto& line : log.lines()) {
            EXPECT_EQ(line.category, LogCategory::Trace);
            logged += line.body.substr(line.body.find("NebrixClientGui") + 15);
        }
        const std::string checking = ".selectLocale checking system locale";
        const std::size_t check = logged.find(checking);
        EXPECT_EQ(check == std::string::npos, told.empty());
        EXPECT_EQ(told.empty() ? logged : logged.erase(check, checking.size()), told);
    }
}

}  // namespace
}  // namespace tessel::view
