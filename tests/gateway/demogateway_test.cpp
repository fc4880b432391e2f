#include "apps/nebrix-demo-gateway/demogateway.h"

#include <gtest/gtest.h>
#include <httplib.h>

#include <csignal>
#include <filesystem>
#include <functional>
#include <optional>
#include <set>
#include <thread>

#include "apps/nebrix-sign/signing.h"
#include "libs/json/jsonwrapper.h"
#include "tests/support/childprocess.h"
#include "tests/support/temporarydirectory.h"

namespace tessel::gateway {
namespace {

using nebrix::test::runProgram;
using nebrix::test::TemporaryDirectory;

/// A gateway that serves small files as libraries, and a client that checks its certificate.
class Gateway {
public:
    explicit Gateway(std::initializer_list<Fault> faults = {}) {
        GatewayOptions options;
        for (const ComponentType type : kComponentTypes) {
            const std::string name = "lib" + std::string(typeName(type)) + ".so";
            options.libraries[type] = m_folder.write(name, std::string(5000, 'x') + name);
        }
        for (const Fault fault : faults) {
            options.faults.add(fault);
        }
        options.continuedPosts = 2;
        options.pause = std::chrono::milliseconds(1);
        m_gateway.emplace(options);
        m_gateway->start();
        m_client.emplace("127.0.0.1", static_cast<int>(m_gateway->port()));
        m_client->set_ca_cert_path(m_gateway->certificatePath().c_str());
        m_client->enable_server_certificate_verification(true);
    }

    DemoGateway& operator*() { return *m_gateway; }
    DemoGateway* operator->() { return &*m_gateway; }
    [[nodiscard]] const TemporaryDirectory& folder() const { return m_folder; }

    [[nodiscard]] httplib::Headers headers() const { return {{"Cookie", "a=b; Nebrix-Id=" + m_gateway->clientId()}}; }
    httplib::Result get(const std::string& target) { return m_client->Get(target, headers()); }
    httplib::Result getUnknown(const std::string& target, const std::string& cookie) {
        return m_client->Get(target, httplib::Headers{{"Cookie", cookie}});
    }
    httplib::Result mediate(ComponentType type) {
        return get("/mediation/" + std::string(typeName(type)) + "?lang=fr&clientversion=8.9.0.35");
    }
    httplib::Result post(const std::string& body) {
        return m_client->Post("/hostcheck/response", headers(), body, "application/x-www-form-urlencoded");
    }

private:
    TemporaryDirectory m_folder;
    std::optional<DemoGateway> m_gateway;
    std::optional<httplib::SSLClient> m_client;
};

json::JSONWrapperFromString parse(const httplib::Result& answer) {
    return json::JSONWrapperFromString(String::copy(answer ? answer->body : std::string("null")));
}

std::string text(const json::JSONWrapper& object, const char* key) {
    return std::string(object[key].asString().view());
}

std::set<std::string> keys(const json::JSONWrapper& object) {
    std::set<std::string> names;
    for (const String& name : object.getMemberNames()) {
        names.emplace(name.view());
    }
    return names;
}

std::string lines(const std::vector<std::string>& items) {
    std::string all;
    for (const std::string& item : items) {
        all.append(item).append("\n");
    }
    return all;
}

using Keys = std::set<std::string>;

TEST(DemoGateway, answersEachTypeWithItsDocument) {
    Gateway gateway;
    const struct {
        ComponentType type;
        Keys expected;
        const char* libraries;
    } cases[] = {
        {ComponentType::PluginDll,
         {"type", "orgname", "server", "certPassword", "login", "ticket", "sessionid", "pluginDlls", "certificates",
          "clientid", "sslservercertname"},
         "pluginDlls"},
        {ComponentType::PluginDllNoTunnel,
         {"type", "orgname", "pluginDlls", "service", "clientid", "safetype"},
         "pluginDlls"},
        {ComponentType::Hostchecker,
         {"type", "hostcheckerDlls", "hostcheckingrequest", "responseurl", "hostname", "language", "hostcheckingtimer"},
         "hostcheckerDlls"},
    };
    for (const auto& c : cases) {
        const httplib::Result answer = gateway.mediate(c.type);
        ASSERT_TRUE(answer) << typeName(c.type);
        EXPECT_EQ(answer->status, 200);
        const json::JSONWrapperFromString document = parse(answer);
        EXPECT_TRUE(document["success"].asBool());
        const json::JSONWrapper result = document["result"];
        EXPECT_EQ(keys(result), c.expected);
        EXPECT_EQ(text(result, "type"), typeName(c.type));

        const json::JSONWrapper library = result[c.libraries]["linux64_openssl3"];
        EXPECT_EQ(keys(library), (Keys{"filename", "md5", "urlpath", "pattern", "version"}));
        const httplib::Result archive = gateway.get(text(library, "urlpath") + text(library, "filename"));
        ASSERT_TRUE(archive);
        EXPECT_EQ(sign::md5Hex(archive->body), text(library, "md5"));
        const std::string path = gateway.folder().write("a.zip", archive->body);
        const std::string pattern = text(library, "pattern");
        EXPECT_EQ(runProgram({"unzip", "-Z1", path}).output, lines({pattern, pattern + ".sig"}));
    }
    EXPECT_EQ(text(parse(gateway.mediate(ComponentType::Hostchecker))["result"], "language"), "fr");
}

TEST(DemoGateway, servesCertificatesAndTheResource) {
    Gateway gateway;
    const json::JSONWrapperFromString document = parse(gateway.mediate(ComponentType::PluginDll));
    for (const char* name : {"cert", "ca"}) {
        const json::JSONWrapper file = document["result"]["certificates"][name];
        const httplib::Result answer = gateway.get(text(file, "urlpath") + text(file, "filename"));
        ASSERT_TRUE(answer) << name;
        EXPECT_EQ(sign::md5Hex(answer->body), text(file, "md5"));
        EXPECT_TRUE(answer->body.starts_with("-----BEGIN CERTIFICATE-----"));
    }
    EXPECT_EQ(gateway.get("/resources/welcome.txt")->status, 200);
    EXPECT_EQ(gateway.get("/resources/other.txt")->status, 404);
    EXPECT_EQ(gateway.get("/mediation/other?clientversion=1")->status, 404);
}

TEST(DemoGateway, refusesWhoHasNotTheIdentifierOrTheVersion) {
    Gateway gateway;
    const std::string path = "/mediation/plugindll";
    const std::string good = "Nebrix-Id=" + gateway->clientId();
    const struct {
        std::string target;
        std::string cookie;
        bool success;
    } cases[] = {
        {path + "?clientversion=1", good, true},
        {path + "?clientversion=1", "x=" + good, false},
        {path + "?clientversion=1", good + "0", false},
        {path + "?clientversion=1", "", false},
        {path, good, false},
        {path + "?clientversion=", good, false},
        {path + "?clientversion=1&clientversion=2", good, false},
    };
    for (const auto& c : cases) {
        const json::JSONWrapperFromString document = parse(gateway.getUnknown(c.target, c.cookie));
        EXPECT_EQ(document["success"].asBool(), c.success) << c.target << " " << c.cookie;
        EXPECT_EQ(text(document, "exception").empty(), c.success);
        EXPECT_TRUE(keys(document).contains("result"));
    }
    for (const char* target : {"/components/plugindll/plugindll-1.0.0.zip", "/certificates/client.pem"}) {
        EXPECT_EQ(gateway.get(target)->status, 200);
        EXPECT_EQ(gateway.getUnknown(target, "")->status, 403);
    }
    EXPECT_EQ(gateway->requests().count(path), std::size(cases));
}

TEST(DemoGateway, continuesForTheSetNumberOfPosts) {
    Gateway gateway;
    for (const bool goOn : {true, true, false}) {
        const json::JSONWrapperFromString document = parse(gateway.post("rulesChecked=a%2Cb%20%26"));
        EXPECT_TRUE(document["success"].asBool());
        EXPECT_EQ(document["result"]["continue"].asBool(), goOn);
        EXPECT_EQ(text(document["result"], "info"), "demo host check");
    }
    EXPECT_EQ(gateway->hostChecks(), std::vector<std::string>(3, "a,b &"));
    EXPECT_FALSE(parse(gateway.post("rulesChecked=a&b=c"))["success"].asBool());
    EXPECT_FALSE(parse(gateway.post("rules=a"))["success"].asBool());
}

// What shows in the mediation answer; the faults of archives and signatures are seen through the client's eyes.
TEST(DemoGateway, doesWhatTheFaultSays) {
    const auto success = [](const httplib::Result& answer) { return parse(answer)["success"].asBool(); };
    const auto result = [](const httplib::Result& answer) { return keys(parse(answer)["result"]); };
    const std::pair<Fault, std::function<bool(const httplib::Result&)>> cases[] = {
        {Fault::Refusal, [&](const auto& a) { return a->status == 200 && !success(a); }},
        {Fault::Status500, [&](const auto& a) { return a->status == 500 && success(a); }},
        {Fault::Status404, [](const auto& a) { return a->status == 404 && a->body.starts_with("<html>"); }},
        {Fault::NotJson, [](const auto& a) { return a->body == "this is not JSON\n"; }},
        {Fault::DeepJson, [](const auto& a) { return a->body.starts_with("[[[[") && a->body.size() == 200000; }},
        {Fault::Oversize, [&](const auto& a) { return a->body.size() == 20 * 1024 * 1024 && success(a); }},
        {Fault::Redirect, [](const auto& a) { return a->status == 302; }},
        {Fault::MissingSuccess,
         [](const auto& a) {
             return keys(parse(a)) == Keys{"code", "result"};
         }},
        {Fault::MissingResult,
         [](const auto& a) {
             return keys(parse(a)) == Keys{"code", "success"};
         }},
        {Fault::MissingKey, [&](const auto& a) { return !result(a).contains("clientid"); }},
        {Fault::UnknownType, [](const auto& a) { return text(parse(a)["result"], "type") == "unknown"; }},
        {Fault::MissingPlatform,
         [](const auto& a) { return !keys(parse(a)["result"]["pluginDlls"]).contains("linux64_openssl3"); }},
        {Fault::Slow, [&](const auto& a) { return success(a); }},
    };
    for (const auto& [fault, holds] : cases) {
        Gateway gateway({fault});
        const httplib::Result answer = gateway.mediate(ComponentType::PluginDll);
        EXPECT_TRUE(answer && holds(answer)) << faultDescriptions()[static_cast<std::size_t>(fault)].name;
    }
}

TEST(DemoGateway, cutsTheArchiveInTheMiddle) {
    Gateway gateway({Fault::ArchiveCut});
    std::size_t received = 0;
    httplib::SSLClient client("127.0.0.1", static_cast<int>(gateway->port()));
    client.enable_server_certificate_verification(false);
    const httplib::Result answer = client.Get("/components/plugindll/plugindll-1.0.0.zip", gateway.headers(),
                                              [&](const char*, std::size_t length) {
                                                  received += length;
                                                  return true;
                                              });
    EXPECT_FALSE(answer);
    EXPECT_GT(received, 1000U);
}

TEST(DemoGateway, endsWhileAnswersAreHeldBack) {
    Gateway gateway({Fault::Silent});
    std::thread client([&] { gateway.mediate(ComponentType::PluginDll); });
    EXPECT_TRUE(gateway->requests().waitFor("/mediation/", 1, std::chrono::seconds(30)));
    gateway->stop();
    client.join();
    gateway->stop();
}

TEST(DemoGateway, saysWhyItCannotStart) {
    Gateway running;
    GatewayOptions options;
    options.port = running->port();
    DemoGateway second(options);
    EXPECT_THROW(second.start(), EGateway);
    options.libraries[ComponentType::PluginDll] = running.folder().path("missing.so");
    EXPECT_THROW(DemoGateway{options}, Exception);
}

TEST(DemoGatewayProgram, printsTheMediationStringsAndEndsCleanly) {
    for (const int signal : {SIGINT, SIGTERM}) {
        nebrix::test::ChildProcess program({NEBRIX_TEST_BIN "/nebrix-demo-gateway", "--client-id", "demo"});
        ASSERT_TRUE(program.waitForOutput("\nlistening 127.0.0.1:")) << program.errors();
        const std::string output = program.output();
        const std::string authority = output.substr(output.find("listening ") + 10);
        for (const ComponentType type : kComponentTypes) {
            const std::string name(typeName(type));
            std::string line = "mediation ";
            line.append(name).append(" https://demo@").append(authority, 0, authority.find('\n'));
            line.append("/mediation/").append(name).append("?lang=en\n");
            EXPECT_NE(output.find(line), std::string::npos) << output;
        }
        const std::string rest = output.substr(output.find("certificate ") + 12);
        const std::string certificate = rest.substr(0, rest.find('\n'));
        EXPECT_TRUE(std::filesystem::exists(certificate));
        program.signal(signal);
        EXPECT_EQ(program.wait(), 0);
        EXPECT_FALSE(std::filesystem::exists(certificate));
    }
    EXPECT_EQ(runProgram({NEBRIX_TEST_BIN "/nebrix-demo-gateway", "--fault", "x"}).status, 2);
}

}  // namespace
}  // namespace tessel::gateway
