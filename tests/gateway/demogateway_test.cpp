#include "apps/nebrix-demo-gateway/demogateway.h"

#include <gtest/gtest.h>
#include <httplib.h>

#include <csignal>
#include <filesystem>
#include <thread>

#include "libs/json/jsonwrapper.h"
#include "tests/support/childprocess.h"
#include "tests/support/temporarydirectory.h"

namespace tessel::gateway {
namespace {

using json::JSONWrapperFromString;

constexpr const char* kPath = "/mediation/plugindll";

/// A gateway that serves small files as libraries, and a client that checks its certificate. What a fault does to a
/// document is seen through the client's eyes, by the tests of whole sessions.
class DemoGatewayTest : public testing::Test {
protected:
    void serve(GatewayOptions options = {}) {
        for (const ComponentType type : kComponentTypes) {
            options.libraries[type] = m_folder.write("lib" + std::string(typeName(type)) + ".so", "any bytes");
        }
        m_gateway = std::make_unique<DemoGateway>(options);
        m_gateway->start();
        m_client = std::make_unique<httplib::SSLClient>("127.0.0.1", static_cast<int>(m_gateway->port()));
        m_client->set_ca_cert_path(m_gateway->certificatePath().c_str());
        m_client->enable_server_certificate_verification(true);
        m_cookie = "Nebrix-Id=" + m_gateway->clientId();
    }

    httplib::Response get(const std::string& target, const std::string& cookie) const {
        const httplib::Result answer = m_client->Get(target, httplib::Headers{{"Cookie", cookie}});
        return answer ? *answer : httplib::Response();
    }
    httplib::Response get(const std::string& target) const { return get(target, "a=b; " + m_cookie); }

    nebrix::test::TemporaryDirectory m_folder;
    std::unique_ptr<DemoGateway> m_gateway;
    std::unique_ptr<httplib::SSLClient> m_client;
    std::string m_cookie;
};

TEST_F(DemoGatewayTest, refusesWhoHasNotTheIdentifierOrTheVersion) {
    serve();
    const struct {
        std::string query;
        std::string cookie;
        bool success;
    } cases[] = {
        {"?clientversion=1", m_cookie, true},
        {"?clientversion=1", "x=" + m_cookie, false},
        {"?clientversion=1", m_cookie + "0", false},
        {"?clientversion=1", "", false},
        {"", m_cookie, false},
        {"?clientversion=", m_cookie, false},
        {"?clientversion=1&clientversion=2", m_cookie, false},
    };
    for (const auto& c : cases) {
        const JSONWrapperFromString document(String::copy(get(kPath + c.query, c.cookie).body));
        EXPECT_EQ(document["success"].asBool(), c.success) << c.query << " " << c.cookie;
        EXPECT_EQ(document["exception"].asString().empty(), c.success);
    }
    for (const char* target : {"/components/plugindll/plugindll-1.0.0.zip", "/certificates/client.pem"}) {
        EXPECT_EQ(get(target).status, 200);
        EXPECT_EQ(get(target, "").status, 403);
    }
    EXPECT_EQ(m_gateway->requests().count(kPath), std::size(cases));
    for (const char* target : {"/resources/other.txt", "/mediation/other?clientversion=1"}) {
        EXPECT_EQ(get(target).status, 404);
    }
}

TEST_F(DemoGatewayTest, endsWhileAnswersAreHeldBack) {
    GatewayOptions options;
    options.faults.add(Fault::Silent);
    serve(options);
    std::thread client([&] { get(kPath); });
    EXPECT_TRUE(m_gateway->requests().waitFor("/mediation/", 1, std::chrono::seconds(30)));
    m_gateway->stop();
    client.join();
    m_gateway->stop();
}

TEST_F(DemoGatewayTest, saysWhyItCannotStart) {
    serve();
    GatewayOptions options;
    options.port = m_gateway->port();
    DemoGateway second(options);
    EXPECT_THROW(second.start(), EGateway);
    options.libraries[ComponentType::PluginDll] = m_folder.path("missing.so");
    EXPECT_THROW(DemoGateway{options}, Exception);
}

TEST(DemoGatewayProgram, printsTheMediationStringsAndEndsCleanly) {
    for (const int signal : {SIGINT, SIGTERM}) {
        nebrix::test::ChildProcess program({NEBRIX_TEST_BIN "/nebrix-demo-gateway", "--client-id", "demo"});
        ASSERT_TRUE(program.waitForOutput("\nlistening 127.0.0.1:")) << program.errors();
        const std::string output = program.output();
        const auto word = [&](const std::string& after) {
            const auto from = output.find(after) + after.size();
            return output.substr(from, output.find('\n', from) - from);
        };
        for (const ComponentType type : kComponentTypes) {
            const std::string path = "/mediation/" + std::string(typeName(type)) + "?lang=en";
            EXPECT_EQ(word("mediation " + std::string(typeName(type)) + " "),
                      "https://demo@" + word("\nlistening ") + path);
        }
        const std::string certificate = word("certificate ");
        EXPECT_TRUE(std::filesystem::exists(certificate));
        program.signal(signal);
        EXPECT_EQ(program.wait(), 0);
        EXPECT_FALSE(std::filesystem::exists(certificate));
    }
    EXPECT_EQ(nebrix::test::runProgram({NEBRIX_TEST_BIN "/nebrix-demo-gateway", "--fault", "x"}).status, 2);
}

}  // namespace
}  // namespace tessel::gateway
