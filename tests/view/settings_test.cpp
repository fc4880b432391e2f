// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "apps/nebrixclient/view/settingsfields.h"

namespace tessel::view {
namespace {

TEST(SettingsFields, areWrittenAndReadBack) {
    const SettingsFields cases[] = {{"LAB\\you\\x", "secret", {"b", "a", "A"}}, {"you", "", {}}};
    ClientLocalConfiguration configuration;
    for (const SettingsFields& fields : cases) {
        SettingsFields shown;
        shown.read(configuration);
        fields.write(shown, configuration);
        EXPECT_EQ(configuration.getCredentials().getDomain(), fields.login.left('\\', true) == "LAB" ? "LAB" : "");
        SettingsFields again;
        again.read(configuration);
        EXPECT_EQ(again.login, fields.login);
        EXPECT_EQ(again.password, fields.password);
        EXPECT_EQ(again.domains, fields.domains);
    }
}

TEST(SettingsFields, storeWhatWasEditedOverWhatIsSoByThen) {
    ClientLocalConfiguration configuration;
    for (const char* server : {"kept", "removed", "typed", "renewed"}) {
        configuration.trust(server, "1", 1);
    }
    SettingsFields shown;
    shown.read(configuration);
    SettingsFields edited = shown;
    edited.removed = {"removed", "typed", "renewed"};
    edited.domains = {"kept", "typed", "new", "both"};
    edited.password = "changed here";
    configuration.trust("renewed", "2", 2);
    configuration.trust("both", "2", 2);
    configuration.setCredentials(Credentials("changed meanwhile", ""));
    edited.write(shown, configuration);
    EXPECT_EQ(configuration.getSslCertIgnoreDomains(), (List<String>{"kept", "typed", "new", "both", "renewed"}));
    EXPECT_EQ(configuration.getServerExceptions().keys,
              (List<TrustedKey>{{"kept", "1", 1}, {"both", "2", 2}, {"renewed", "2", 2}}));
    EXPECT_EQ(configuration.getCredentials().getLogin(), "changed meanwhile");
    EXPECT_EQ(configuration.getCredentials().getPassword(), "changed here");
}

TEST(SettingsFields, addADomainOnceInEachCase) {
    const std::pair<const char*, const char*> cases[] = {
        {"", ""}, {" \t\r\n", ""}, {"gw", ""}, {"gw \t", ""}, {"GW ", "GW"}, {" new\n", " new"}, {"a name", "a name"}};
    for (const auto& [typed, added] : cases) {
        EXPECT_EQ(SettingsFields::domainToAdd(typed, {"x", "gw"}), added) << typed;
    }
}

}  // namespace
}  // namespace tessel::view
