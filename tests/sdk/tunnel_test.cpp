#include <chrono>
#include <thread>

#include "tests/sdk/component.h"

namespace nebrix::test {
namespace {

using Messages = std::vector<std::string>;

class Tunnel : public ::testing::Test {
protected:
    void parameters(const std::string& login, const std::string& ticket, const std::string& server) const {
        m_plugin.set(NEBRIX_NAME_SET_LOGIN, login);
        m_plugin.set(NEBRIX_NAME_SET_TICKET, ticket);
        m_plugin.set(NEBRIX_NAME_SET_SERVER, server);
        m_plugin.set(NEBRIX_NAME_SET_SESSION_ID, "session-secret");
    }
    /// Polls until a message begins with last; every message that differs from the one before it.
    Messages pollUntil(const std::string& last) const {
        Messages seen;
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (std::chrono::steady_clock::now() < deadline) {
            for (const std::string& message : m_plugin.poll()) {
                if (seen.empty() || seen.back() != message)
                    seen.push_back(message);
            }
            if (!seen.empty() && seen.back().starts_with(last))
                return seen;
            std::this_thread::yield();
        }
        ADD_FAILURE() << "no message " << last;
        return seen;
    }

    Plugin m_plugin{"tunnel"};
};

TEST_F(Tunnel, GoesThroughItsStatesAndRepeatsTheLast) {
    parameters("alice", "ticket", "vpn.example");
    ASSERT_EQ(m_plugin.execute("step-ms", "5"), 0);
    EXPECT_EQ(m_plugin.poll(), Messages{});
    m_plugin.call(NEBRIX_NAME_START);
    const Messages seen = pollUntil("5:connected");
    ASSERT_EQ(seen.size(), 4U);
    EXPECT_EQ(Messages(seen.begin(), seen.end() - 1), (Messages{"5:init", "5:authenticating", "5:getconfig"}));
    EXPECT_TRUE(seen.back().starts_with("5:connected ip=192.0.2.")) << seen.back();
    EXPECT_EQ(m_plugin.poll(), Messages{seen.back()});
    EXPECT_EQ(m_plugin.execute("state"), 2);

    while (m_plugin.execute("reconnect") != 0)
        std::this_thread::yield();
    EXPECT_EQ(pollUntil("5:reconnecting").back(), "5:reconnecting");
    EXPECT_EQ(pollUntil("5:connected").back(), seen.back());
    m_plugin.call(NEBRIX_NAME_STOP);
    EXPECT_EQ(m_plugin.poll(), Messages{});
    EXPECT_EQ(m_plugin.execute("state"), 0);
}

// The longest pace shows that the stop does not wait for the step: the test's own time limit is shorter.
TEST_F(Tunnel, StopsWhileConnectingAndStartsAgain) {
    parameters("alice", "ticket", "vpn.example");
    ASSERT_EQ(m_plugin.execute("step-ms", "60000"), 0);
    for (int round = 0; round < 2; ++round) {
        const auto start = std::chrono::steady_clock::now();
        m_plugin.call(NEBRIX_NAME_START);
        m_plugin.call(NEBRIX_NAME_START);
        EXPECT_EQ(pollUntil("5:init"), Messages{"5:init"});
        EXPECT_EQ(m_plugin.execute("state"), 1);
        m_plugin.call(NEBRIX_NAME_STOP);
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(50));
        EXPECT_EQ(m_plugin.poll(), Messages{});
    }
}

TEST_F(Tunnel, AsksForTheEndWhenSomethingIsMissing) {
    const struct {
        const char *login, *ticket, *server;
        Messages expected;
    } cases[] = {{"", "ticket", "server", {"5:authError", "8:3"}},
                 {"alice", "", "server", {"5:authError", "8:3"}},
                 {"alice", "ticket", "", {"8:4"}}};
    for (const auto& c : cases) {
        parameters(c.login, c.ticket, c.server);
        m_plugin.call(NEBRIX_NAME_START);
        EXPECT_EQ(m_plugin.poll(), c.expected);
        EXPECT_EQ(m_plugin.poll(), c.expected) << "a wish must be repeated to count";
    }
    parameters("alice", "ticket", "server");
    m_plugin.call(NEBRIX_NAME_START);
    EXPECT_EQ(pollUntil("5:init").back(), "5:init") << "a refused start can be mended";
    m_plugin.call(NEBRIX_NAME_STOP);
}

TEST_F(Tunnel, KeepsSecretsOutOfItsLog) {
    parameters("alice", "ticket-secret", "vpn.example\nforged line");
    m_plugin.set(NEBRIX_NAME_SET_CERT_PASSWORD, "password-secret");
    m_plugin.set(NEBRIX_NAME_SET_PROXY, "1|http|proxy|user|proxy-secret||save:no");
    m_plugin.set(NEBRIX_NAME_SET_CERT_DIRECTORY, "/nonexistent");
    m_plugin.set(NEBRIX_NAME_SET_CERT_FILE_NAME, "client.p12");
    m_plugin.call(NEBRIX_NAME_START);
    pollUntil("5:init");
    m_plugin.call(NEBRIX_NAME_STOP);
    const std::string log = m_plugin.text(NEBRIX_NAME_GET_LOGS);
    EXPECT_EQ(log.find("secret"), std::string::npos) << log;
    EXPECT_NE(log.find("vpn.example?forged line\n"), std::string::npos) << log;
    EXPECT_NE(log.find("cannot read /nonexistent/client.p12\n"), std::string::npos) << log;
}

TEST_F(Tunnel, ExecuteKnowsItsCommandsOnly) {
    const struct {
        const char *command, *value;
        int expected;
    } cases[] = {{"state", "", 0},         {"reconnect", "", -1}, {"step-ms", "0", -1},
                 {"step-ms", "60001", -1}, {"step-ms", "5x", -1}, {"step-ms", "", -1},
                 {"step-ms", "60000", 0},  {"", "", -1},          {"State", "", -1}};
    for (const auto& c : cases)
        EXPECT_EQ(m_plugin.execute(c.command, c.value), c.expected) << c.command << " " << c.value;
}

}  // namespace
}  // namespace nebrix::test
