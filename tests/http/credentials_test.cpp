#include "libs/http/credentials.h"

#include <gtest/gtest.h>

#include "libs/http/proxy.h"
#include "libs/json/jsonreader.h"

using tessel::Credentials;
using tessel::Proxy;
using tessel::String;

namespace {

TEST(Credentials, DomainLoginGoesBothWays) {
    const char* cases[][3] = {{"", "joe", "joe"}, {"DOM", "a\\b", "DOM\\a\\b"}, {"DOM", "", "DOM\\"}, {"", "", ""}};
    for (const auto& [domain, login, text] : cases) {
        Credentials credentials(login, "secret", domain);
        EXPECT_EQ(credentials.getDomainLogin(true), text);
        EXPECT_EQ(credentials.getDomainLogin(false), login);
        credentials.setDomainLogin(credentials.getDomainLogin(true));
        EXPECT_EQ(credentials.getDomain(), domain);
        EXPECT_EQ(credentials.getLogin(), login);
    }
}

TEST(Proxy, TypesAndTheirNames) {
    const char* texts[] = {"socks4", "socks5", "https", "none"};
    // Not the text of the type, but what configurations say for it.
    const std::vector<const char*> names[] = {
        {"socks4"}, {"sock5"}, {"https", "http", "connect"}, {"none", "no", "no-proxy", "socks5"}};
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(Proxy(static_cast<Proxy::Type>(i), "", {}).getTypeString(), texts[i]);
        for (const char* name : names[i]) {
            EXPECT_EQ(static_cast<int>(Proxy::computeType(String(name))), i) << name;
        }
    }
}

TEST(Proxy, IsReadByKey) {
    const tessel::json::JSONWrapperFromString json(
        String(R"({"type":"sock5","host":"h:1","credentials":{"login":"l"}})"));
    Proxy proxy;
    const tessel::json::JSONPolyReader reader(json);
    EXPECT_THROW(proxy.keywrite(*reader), tessel::EConfMissingKey);
    EXPECT_EQ(proxy.getType(), Proxy::Type::Socks5);
    EXPECT_EQ(proxy.getHost(), "h:1");
}

}  // namespace
