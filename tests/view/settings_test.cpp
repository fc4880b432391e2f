#include <gtest/gtest.h>

#include "apps/nebrixclient/view/settingsfields.h"

namespace tessel::view {
namespace {

TEST(SettingsFields, areWrittenAndReadBack) {
    const SettingsFields cases[] = {{"LAB\\you\\x", "secret", {"b", "a", "A"}}, {"you", "", {}}};
    ClientLocalConfiguration configuration;
    for (const SettingsFields& fields : cases) {
        fields.write(configuration);
        EXPECT_EQ(configuration.getCredentials().getDomain(), fields.login.left('\\', true) == "LAB" ? "LAB" : "");
        SettingsFields again;
        again.read(configuration);
        EXPECT_EQ(again.login, fields.login);
        EXPECT_EQ(again.password, fields.password);
        EXPECT_EQ(again.domains, fields.domains);
    }
}

TEST(SettingsFields, giveUpTheKeyOfADomainThatWasTakenOutAndTypedAgain) {
    ClientLocalConfiguration configuration;
    configuration.trust("kept", "1", 1);
    configuration.trust("typed", "2", 2);
    SettingsFields fields;
    fields.read(configuration);
    fields.removed = {"typed"};
    fields.write(configuration);
    EXPECT_EQ(configuration.getSslCertIgnoreDomains(), (List<String>{"kept", "typed"}));
    ASSERT_EQ(configuration.getServerExceptions().keys.size(), 1U);
    EXPECT_EQ(configuration.getServerExceptions().keys[0].server, "kept");
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
