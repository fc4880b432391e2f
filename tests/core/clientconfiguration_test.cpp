// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/clientconfiguration.h"

#include <gtest/gtest.h>

#include "apps/nebrixclient/hostcheckerclient.h"
#include "apps/nebrixclient/mediationresponse.h"
#include "apps/nebrixclient/plainname.h"

namespace tessel::test {
namespace {

const std::string kDll = R"({"filename":"a.zip","urlpath":"/c/","pattern":"liba.so","version":"2.1"})";
const std::string kPlugin = R"("orgname":"o","server":"s","certPassword":"p","login":"l","ticket":"t","sessionid":"i",)"
                            R"("pluginDlls":{"linux64_openssl3":)" +
                            kDll +
                            R"(},"certificates":{"cert":{"filename":"c","urlpath":"/"},)"
                            R"("ca":{"filename":"d","md5":"0","urlpath":"/"}},"clientid":"x")";
const std::string kNoTunnel = R"("orgname":"o","pluginDlls":{},"service":"mail","clientid":"x","safetype":-3)";
const std::string kHostchecker = R"("hostcheckerDlls":{},"hostcheckingrequest":"r","responseurl":"/u",)"
                                 R"("hostname":"h","language":"fr","hostcheckingtimer":4294967295)";

gc::Pointer<ClientConfiguration> load(const std::string& body) {
    json::JSONWrapperFromString document(String::copy(body));
    return ClientConfiguration::load(*document.getReader());
}

std::string object(const std::string& type, const std::string& keys) {
    return R"({"type":")" + type + "\"," + keys + "}";
}

/// Keeps what was dispatched.
struct Catcher final : ClientConfigurationDispatcher {
    void dispatch(ClientHostcheckerDllConfiguration& configuration) override { hostchecker = &configuration; }
    void dispatch(ClientPluginDllConfiguration& configuration) override { plugin = &configuration; }
    void dispatch(NoTunnelClientPluginDllConfiguration& configuration) override { noTunnel = &configuration; }
    ClientHostcheckerDllConfiguration* hostchecker = nullptr;
    ClientPluginDllConfiguration* plugin = nullptr;
    NoTunnelClientPluginDllConfiguration* noTunnel = nullptr;
};

TEST(ClientConfiguration, readsEachTypeWholeAndDispatchesItToItsOverload) {
    const auto configuration = load(object("plugindll", kPlugin));
    Catcher caught;
    configuration->accept(caught);
    ASSERT_NE(caught.plugin, nullptr);
    EXPECT_EQ(caught.hostchecker, nullptr);
    EXPECT_EQ(caught.noTunnel, nullptr);
    const ClientPluginDllConfiguration& plugin = *caught.plugin;
    EXPECT_EQ(plugin.ticket, "t");
    EXPECT_EQ(plugin.certificates.ca.md5, "0");
    EXPECT_TRUE(plugin.certificates.cert.md5.empty());
    EXPECT_TRUE(plugin.sslservercertname.empty());
    const auto named = load(object("plugindll", kPlugin + R"(,"sslservercertname":["a","b"])"));
    named->accept(caught);
    EXPECT_EQ(caught.plugin->sslservercertname, (List<String>{"a", "b"}));
    EXPECT_EQ(plugin.pluginDlls.current().version, "2.1");
    EXPECT_THROW(static_cast<void>(Dll(plugin.pluginDlls.win32)), EConfUsingMissingOptionalConf);
    Catcher others;
    load(object("plugindllnotunnel", kNoTunnel))->accept(others);
    ASSERT_NE(others.noTunnel, nullptr);
    EXPECT_EQ(others.plugin, nullptr);
    const auto hostchecker = load(object("hostchecker", kHostchecker));
    hostchecker->accept(others);
    ASSERT_NE(others.hostchecker, nullptr);
    EXPECT_EQ(others.hostchecker->hostcheckingtimer, 4294967295U);
    EXPECT_THROW(static_cast<void>(others.hostchecker->hostcheckerDlls.current()), EConfUsingMissingOptionalConf);
}

TEST(ClientConfiguration, refusesTypesItDoesNotKnow) {
    for (const char* type : {"PluginDll", "", "plugindll ", "hostcheckers"}) {
        EXPECT_THROW(load(object(type, kPlugin)), EClientConfiguration) << type;
    }
    EXPECT_THROW(load("{}"), EConfMissingKey);
    EXPECT_THROW(load(R"({"type":null})"), EConfMissingKey);
}

TEST(ClientConfiguration, everyRequiredKeyIsMissed) {
    const std::pair<std::string, std::string> kinds[] = {
        {"plugindll", kPlugin}, {"plugindllnotunnel", kNoTunnel}, {"hostchecker", kHostchecker}};
    for (const auto& [type, keys] : kinds) {
        unsigned removed = 0;
        for (std::size_t at = keys.find("\":"); at != std::string::npos; at = keys.find("\":", at + 1)) {
            std::string without = keys;
            without[at - 1] ^= 1;  // another name
            const std::string before = keys.substr(0, at);
            const bool optional = before.ends_with("md5") || before.ends_with("_openssl3");
            if (optional) {
                EXPECT_NO_THROW(load(object(type, without)));
            } else {
                EXPECT_THROW(load(object(type, without)), EConfMissingKey) << without;
                ++removed;
            }
        }
        EXPECT_GE(removed, 5U);
    }
}

TEST(MediationResponse, readsItsKeysAndSaysWhatFails) {
    const std::tuple<const char*, int> bad[] = {{"", 59},
                                                {"<html>", 59},
                                                {R"({"success":true,"result":{})", 59},
                                                {R"({"success":true})", 62},
                                                {R"({"result":{}})", 62},
                                                {R"({"success":false,"exception":"no"})", 62},
                                                {R"({"success":true,"result":null})", 62},
                                                {R"({"success":"yes","result":{}})", 62},
                                                {"[]", 62}};
    for (const auto& [text, line] : bad) {
        try {
            MediationResponse response{String(text)};
            ADD_FAILURE() << text;
        } catch (const EMediationResponse& caught) {
            EXPECT_EQ(caught.toString().view(), "EMediationResponse:client:" + std::to_string(line)) << text;
        }
    }
    const MediationResponse good{String(R"({"success":true,"result":{"type":"x"}})")};
    EXPECT_TRUE(good.success());
    EXPECT_EQ(good.code(), 0U);
    const MediationResponse refusal{String(R"({"success":false,"code":7,"exception":"why","result":{}})")};
    EXPECT_FALSE(refusal.success());
    EXPECT_EQ(refusal.code(), 7U);
    EXPECT_EQ(refusal.exception(), "why");
    ResponseHostcheckerResult result;
    const json::JSONWrapperFromString empty("{}");
    result.keywrite(*empty.getReader());
    EXPECT_FALSE(result.goOn);
}

TEST(PlainName, takesWhatMayBecomeAFileNameAndNothingElse) {
    const String longest = String().append(255, 'a');
    for (const String& name :
         {String("liba.so"), String("a b"), String(".hidden"), String("-x"), String("caf\xc3\xa9"), longest}) {
        EXPECT_TRUE(isPlainName(name)) << name.view();
    }
    for (const String& name :
         {String(""), String("."), String(".."), String("a..b"), String("a/b"), String("/"), String("a\\b"),
          String("a'b"), String("a\nb"), String("a\x7f"), String("a\0b", 3), String(longest).append("a")}) {
        EXPECT_FALSE(isPlainName(name)) << name.view();
    }
    EXPECT_NO_THROW(requirePlainName("md5", "", true));
    EXPECT_THROW(requirePlainName("filename", ""), EClientConfiguration);
}

}  // namespace
}  // namespace tessel::test
