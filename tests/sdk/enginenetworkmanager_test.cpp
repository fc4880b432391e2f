// SPDX-License-Identifier: Apache-2.0
#include <optional>

#include "tests/sdk/component.h"
#include "tests/sdk/enginetest.h"
#include "tests/sdk/networkmanager.h"

extern "C" {
#include "sdk/components/tunnel/engine_networkmanager.h"
#include "sdk/components/tunnel/liveness.h"
}

namespace nebrix::test {
namespace {

/// The engine with a NetworkManager that plays.
class EngineNetworkManagerTest : public EngineTest {
protected:
    EngineNetworkManagerTest() {
        m_parameters.proxy = &m_proxy;
        m_parameters.cert_path = "/c \\ \xff/c.p12";
    }
    void play(const std::string& play, const std::vector<std::string>& faults = {}) {
        m_manager.emplace(play, faults);
        start([this](const engine_listener* listener) {
            return nebrix_engine_networkmanager.run(&m_parameters, listener, &m_wishes);
        });
    }

    tunnel_proxy m_proxy{{"proxy.example", AF_UNSPEC, 8080, false}, "proxy-login", "proxy-secret"};
    std::optional<NetworkManager> m_manager;
};

TEST_F(EngineNetworkManagerTest, TellsWhatBecomesOfTheTunnel) {
    const struct {
        const char* play;
        std::vector<std::string> faults;
        std::string told;  // up to its last word; then the engine is stopped
    } cases[] = {
        {"2 secrets 3 again 6:9", {}, "init, authenticating, authError, close 3, ended"},
        {"2 3 6:10", {}, "init, authenticating, authError, close 3, ended"},
        {"2 3 6:6", {}, "init, authenticating, close 4, ended"},
        {"6:4000000000", {}, "init, close 4, ended"},
        {"2 3 5 read 77 7:2", {}, "init, authenticating, connected ip=10.8.0.2, close 4, ended"},
        {"5 read 7:4|2 3 5", {}, "init, connected ip=10.8.0.2, reconnecting, connected ip=10.8.0.2"},
        {"5 read 3 other:7:2 5", {}, "init, connected ip=10.8.0.2, reconnecting, connected ip=10.8.0.2"},
        {"other:6:10 2 text 77 other:7:2 foreign 4", {}, "init, authenticating, getconfig"},
        {"5", {"AddressData=text", "Ip6Config=none"}, "init, connected"},
        {"2", {"VpnState=error"}, "init, authenticating, close 4, ended"},
        {"5", {"PrimaryConnection=none"}, "unavailable"},
        {"5", {"PrimaryConnection=text"}, "unavailable"},
        {"5", {"RegisterWithCapabilities=error"}, "unavailable"},
        {"5", {"AddAndActivateConnection2=error"}, "unavailable"},
        {"5", {"AddAndActivateConnection2=text"}, "unavailable"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.play + (row.faults.empty() ? "" : " " + row.faults[0]));
        play(row.play, row.faults);
        EXPECT_EQ(toldUntil(row.told), row.told) << m_seen;
        EXPECT_LT(stop(), 1s);
        EXPECT_EQ(m_seen.find("secret"), std::string::npos) << m_seen;
    }
    play("");
    toldUntil("unavailable");
    EXPECT_EQ(m_seen, "NetworkManager does not run here, unavailable");
}

TEST_F(EngineNetworkManagerTest, StopsWhileNothingIsAnswered) {
    play("5", {"AddAndActivateConnection2=silence"});
    while (m_manager->heard().find("Register") == std::string::npos)
        std::this_thread::yield();
    EXPECT_LT(stop(), 1s);
    EXPECT_EQ(m_told, "ended");
}

TEST_F(EngineNetworkManagerTest, AsksForATunnelAndGivesItsSecretsToThatAlone) {
    play("2 foreign stranger secrets again 5");
    toldUntil("init, authenticating, connected ip=10.8.0.2");
    const std::string heard = m_manager->heard();
    const std::string::size_type secrets = heard.find("\nsecrets\n");
    for (const char* secret : {"ticket-secret", "pkcs-secret", "proxy-secret"}) {
        EXPECT_EQ(heard.find(secret), heard.find(secret, secrets)) << secret;
        EXPECT_NE(heard.find(secret), std::string::npos) << secret;
    }
    for (const char* text : {"volatile", "dbus-client", "[2001:db8::1]:443:tcp", "name:vpn.example", "password-tls",
                             "/c \\134 \\377/c.p12", "proxy.example", "8080", "proxy-login"})
        EXPECT_NE(heard.find("\"" + std::string(text) + "\""), std::string::npos) << text << heard;
    EXPECT_LT(heard.find("RegisterWithCapabilities"), heard.find("AddAndActivateConnection2"));
    EXPECT_LT(heard.find("SecretAgent.NoSecrets"), secrets);
    EXPECT_LT(heard.find("SecretAgent.NotAuthorized"), secrets);
    EXPECT_NE(heard.find("SecretAgent.UserCanceled", secrets), std::string::npos) << heard.substr(secrets);
}

TEST_F(EngineNetworkManagerTest, TriesEachNameAndKeepsTheOneThatIsRight) {
    accept({"wrong.example", "vpn.example", "wrong.example"});
    play("2 3|2 3 5|5");
    const std::string told = "init, authenticating, connected ip=10.8.0.2";
    EXPECT_EQ(toldUntil(told), told);
    const std::vector<std::string> parts = split(m_manager->heard(), '\n');
    EXPECT_EQ(std::count(parts.begin(), parts.end(), "AddAndActivateConnection2 /org/freedesktop/NetworkManager"), 2);
    EXPECT_EQ(std::count(parts.begin(), parts.end(), "DeactivateConnection /org/freedesktop/NetworkManager"), 1);
}

/// The host itself stands for a far end: it refuses what comes to its port.
TEST(LivenessTest, JudgesOnlyAFarEndThatHasAnswered) {
    liveness watch{};
    ASSERT_TRUE(liveness_open(&watch, "127.0.0.1", "127.0.0.0", 0));
    const sockaddr nobody{AF_UNSPEC, {}};
    sockaddr_storage farEnd{};
    socklen_t size = sizeof farEnd;
    ASSERT_EQ(::getpeername(watch.descriptor, reinterpret_cast<sockaddr*>(&farEnd), &size), 0);
    std::int64_t now = 0;
    std::string good;
    for (const bool answering : {false, true, false, true}) {
        ASSERT_EQ(answering ? ::connect(watch.descriptor, reinterpret_cast<sockaddr*>(&farEnd), size)
                            : ::connect(watch.descriptor, &nobody, sizeof nobody),
                  0);
        for (int sent = 0; sent < 2 * kLivenessLost; ++sent)
            liveness_step(&watch, now += kLivenessPauseMs);
        good += liveness_good(&watch) ? "good " : "lost ";
    }
    EXPECT_EQ(good, "good good lost good ");
    liveness_close(&watch);
    EXPECT_FALSE(liveness_open(&watch, "10.8.0.2", "fd00::1", 0));
}

}  // namespace
}  // namespace nebrix::test
