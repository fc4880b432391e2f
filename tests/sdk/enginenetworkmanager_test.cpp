#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <optional>

#include "tests/sdk/component.h"
#include "tests/sdk/networkmanager.h"

extern "C" {
#include "sdk/components/tunnel/engine_networkmanager.h"
#include "sdk/components/tunnel/liveness.h"
#include "sdk/components/tunnel/wishes.h"
}

namespace nebrix::test {
namespace {

using namespace std::chrono_literals;

/// The engine on a thread of its own; what it tells, in order: states, "close4", and "ended" or "unavailable".
class EngineNetworkManagerTest : public ::testing::Test {
protected:
    EngineNetworkManagerTest() { engine_wishes_init(&m_wishes); }
    ~EngineNetworkManagerTest() override {
        stop();
        ::close(m_wishes.descriptor);
    }

    void play(const std::string& play, const std::vector<std::string>& faults = {}) {
        m_manager.emplace(play, faults);
        start();
    }
    void start() {
        m_thread = std::thread([this] {
            const engine_listener listener{this, onReport, onClose, onLog};
            tell(nebrix_engine_networkmanager.run(&m_parameters, &listener, &m_wishes) == kEngineEnded ? "ended"
                                                                                                       : "unavailable");
        });
    }
    /// Waits until all of this was told, or the engine is through, and gives back what was told.
    std::string toldUntil(const std::string& told) {
        std::unique_lock lock(m_mutex);
        m_news.wait_for(lock, 10s,
                        [&] { return m_told == told || m_told.ends_with("ended") || m_told.ends_with("unavailable"); });
        return m_told;
    }
    void stop() {
        engine_wishes_put(&m_wishes, kEngineStop);
        if (m_thread.joinable())
            m_thread.join();
    }

    PrivateBus m_bus;
    tunnel_server m_server{"2001:db8::1", AF_INET6, 443, true};
    tunnel_proxy m_proxy{{"proxy.example", AF_UNSPEC, 8080, false}, "proxy-login", "proxy-secret"};
    std::vector<const char*> m_names{"vpn.example"};
    engine_parameters m_parameters{&m_server,
                                   &m_proxy,
                                   "",
                                   "login",
                                   "",
                                   "ticket-secret",
                                   "",
                                   "/c \\ \xff/c.p12",
                                   kCertificatePkcs12,
                                   "",
                                   kCertificateNone,
                                   "pkcs-secret",
                                   m_names.data(),
                                   m_names.size(),
                                   "",
                                   1};
    std::optional<NetworkManager> m_manager;
    engine_wishes m_wishes{};
    std::mutex m_mutex;
    std::string m_log;  // guarded by m_mutex

private:
    static EngineNetworkManagerTest& self(void* context) { return *static_cast<EngineNetworkManagerTest*>(context); }
    static void onReport(void* context, const char* status) { self(context).tell(status); }
    static void onClose(void* context, int reason) { self(context).tell("close" + std::to_string(reason)); }
    static void onLog(void* context, const char* text, const char* value) {
        const std::lock_guard lock(self(context).m_mutex);
        self(context).m_log += std::string(text) + value + "\n";
    }
    void tell(const std::string& word) {
        const std::lock_guard lock(m_mutex);
        if (m_last != word)
            m_told += (m_told.empty() ? "" : ", ") + word;
        m_last = word;
        m_news.notify_all();
    }

    std::condition_variable m_news;
    std::string m_last;  // guarded by m_mutex
    std::string m_told;  // guarded by m_mutex
    std::thread m_thread;
};

struct Play {
    const char* name;
    const char* play;
    std::vector<std::string> faults;
    const char* told;  ///< up to its last word; then the engine is stopped
};
void PrintTo(const Play& play, std::ostream* stream) { *stream << play.name; }

class EngineNetworkManagerPlayTest : public EngineNetworkManagerTest, public ::testing::WithParamInterface<Play> {};

TEST_P(EngineNetworkManagerPlayTest, TellsWhatBecomesOfTheTunnel) {
    play(GetParam().play, GetParam().faults);
    const std::string told = GetParam().told;
    EXPECT_EQ(toldUntil(told), told) << m_log;
    const auto before = std::chrono::steady_clock::now();
    stop();
    EXPECT_LT(std::chrono::steady_clock::now() - before, 1s);
    EXPECT_EQ(m_log.find("secret"), std::string::npos) << m_log;
}

const char* const kUp = "init, authenticating, getconfig, connected ip=10.8.0.2";

INSTANTIATE_TEST_SUITE_P(
    Plays, EngineNetworkManagerPlayTest,
    ::testing::Values(
        Play{"Connected", "2 secrets 3 4 5", {}, kUp},
        Play{"WrongTicket", "2 secrets 3 again 6:9", {}, "init, authenticating, authError, close3, ended"},
        Play{"LoginFailed", "2 3 6:10", {}, "init, authenticating, authError, close3, ended"},
        Play{"NoAnswer", "2 3 6:6", {}, "init, authenticating, close4, ended"},
        Play{"UnknownReason", "6:4000000000", {}, "init, close4, ended"},
        Play{"EndedByUser", "2 3 5 read 77 7:2", {}, "init, authenticating, connected ip=10.8.0.2, close4, ended"},
        Play{"BuiltAgain", "5 read 7:4|2 3 5", {}, "init, connected ip=10.8.0.2, reconnecting, connected ip=10.8.0.2"},
        Play{"Restarted",
             "5 read vanish return|2 5",
             {},
             "init, connected ip=10.8.0.2, reconnecting, connected ip=10.8.0.2"},
        Play{
            "Persists", "5 read 3 other:7:2 5", {}, "init, connected ip=10.8.0.2, reconnecting, connected ip=10.8.0.2"},
        Play{"OfOthers", "other:6:10 2 text 77 other:7:2 foreign 4", {}, "init, authenticating, getconfig"},
        Play{"WithoutAddress", "5", {"AddressData=text", "Ip6Config=none"}, "init, connected"},
        Play{"WithoutState", "2", {"VpnState=error"}, "init, authenticating, close4, ended"},
        Play{"WithoutBase", "5", {"PrimaryConnection=none"}, "unavailable"},
        Play{"BaseOfAnotherType", "5", {"PrimaryConnection=text"}, "unavailable"},
        Play{"WithoutAgents", "5", {"RegisterWithCapabilities=error"}, "unavailable"},
        Play{"Refused", "5", {"AddAndActivateConnection2=error"}, "unavailable"},
        Play{"AnswerOfAnotherType", "5", {"AddAndActivateConnection2=text"}, "unavailable"}),
    [](const auto& play) { return play.param.name; });

TEST_F(EngineNetworkManagerTest, IsUnavailableWithoutNetworkManager) {
    start();
    EXPECT_EQ(toldUntil("unavailable"), "unavailable");
    EXPECT_EQ(m_log, "NetworkManager does not run here\n");
}

TEST_F(EngineNetworkManagerTest, StopsWhileNothingIsAnswered) {
    play("5", {"AddAndActivateConnection2=silence"});
    const auto before = std::chrono::steady_clock::now();
    while (m_manager->heard().find("Register") == std::string::npos)
        std::this_thread::yield();
    stop();
    EXPECT_EQ(toldUntil("ended"), "ended");
    EXPECT_LT(std::chrono::steady_clock::now() - before, 1s);
}

TEST_F(EngineNetworkManagerTest, GivesSecretsToItsOwnConnectionAlone) {
    play("2 foreign stranger secrets again 5");
    toldUntil("init, authenticating, connected ip=10.8.0.2");
    const std::string heard = m_manager->heard();
    const std::string::size_type secrets = heard.find("\nsecrets\n");
    for (const char* secret : {"ticket-secret", "pkcs-secret", "proxy-secret"}) {
        EXPECT_EQ(heard.find(secret), heard.find(secret, secrets)) << secret;
        EXPECT_NE(heard.find(secret), std::string::npos) << secret;
    }
    EXPECT_LT(heard.find("SecretAgent.NoSecrets"), secrets);
    EXPECT_LT(heard.find("SecretAgent.NotAuthorized"), secrets);
    EXPECT_NE(heard.find("SecretAgent.UserCanceled", secrets), std::string::npos) << heard.substr(secrets);
}

TEST_F(EngineNetworkManagerTest, AsksForATunnelThatEndsWithIt) {
    play("2");
    toldUntil("init, authenticating");
    const std::string heard = m_manager->heard();
    for (const char* text : {"volatile", "dbus-client", "[2001:db8::1]:443:tcp", "name:vpn.example", "password-tls",
                             "/c \\134 \\377/c.p12", "proxy.example", "8080", "proxy-login"})
        EXPECT_NE(heard.find("\"" + std::string(text) + "\""), std::string::npos) << text << heard;
}

TEST_F(EngineNetworkManagerTest, TriesEachNameAndKeepsTheOneThatIsRight) {
    m_names = {"wrong.example", "vpn.example", "wrong.example"};
    m_parameters.server_names = m_names.data();
    m_parameters.server_name_count = m_names.size();
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
