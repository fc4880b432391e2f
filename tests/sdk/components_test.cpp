#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "tests/sdk/component.h"
#include "tests/support/temporarydirectory.h"

namespace nebrix::test {
namespace {

using Messages = std::vector<std::string>;

class Tunnel : public ::testing::Test {
protected:
    void start(const char* login = "alice", const char* ticket = "ticket", const char* server = "vpn.example") const {
        m_plugin.set(NEBRIX_NAME_SET_LOGIN, login);
        m_plugin.set(NEBRIX_NAME_SET_TICKET, ticket);
        m_plugin.set(NEBRIX_NAME_SET_SERVER, server);
        m_plugin.call(NEBRIX_NAME_START);
    }
    /// Polls until a message begins with last; every message that differs from the one before it.
    Messages pollUntil(const std::string& last) const {
        Messages seen(1);
        while (!seen.back().starts_with(last)) {
            for (const std::string& message : m_plugin.poll()) {
                if (seen.back() != message)
                    seen.push_back(message);
            }
            std::this_thread::yield();
        }
        seen.erase(seen.begin());
        return seen;
    }

    Plugin m_plugin{"tunnel-simulated"};
};

TEST_F(Tunnel, goesThroughItsStatesAndRepeatsTheLast) {
    ASSERT_EQ(m_plugin.execute("step-ms", "100"), 0);  // long enough to be seen on a busy machine
    EXPECT_EQ(m_plugin.poll(), Messages{});
    start();
    const Messages seen = pollUntil("5:connected ip=192.0.2.");
    EXPECT_EQ(seen, (Messages{"5:init", "5:authenticating", "5:getconfig", seen.back()}));
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

// The longest pace shows that the stop does not wait for the step.
TEST_F(Tunnel, stopsWhileConnectingAndStartsAgain) {
    ASSERT_EQ(m_plugin.execute("step-ms", "60000"), 0);
    for (int round = 0; round < 2; ++round) {
        const auto begin = std::chrono::steady_clock::now();
        start();
        m_plugin.call(NEBRIX_NAME_START);
        EXPECT_EQ(pollUntil("5:init"), Messages{"5:init"});
        EXPECT_EQ(m_plugin.execute("state"), 1);
        m_plugin.call(NEBRIX_NAME_STOP);
        EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(50));
        EXPECT_EQ(m_plugin.poll(), Messages{});
    }
}

TEST_F(Tunnel, asksForTheEndWhenSomethingIsMissing) {
    const auto expect = [&](const char* login, const char* ticket, const char* server, const Messages& expected) {
        start(login, ticket, server);
        EXPECT_EQ(m_plugin.poll(), expected);
        EXPECT_EQ(m_plugin.poll(), expected) << "a wish must be repeated to count";
    };
    expect("", "ticket", "server", {"5:authError", "8:3"});
    expect("alice", "", "server", {"5:authError", "8:3"});
    expect("alice", "ticket", "", {"8:4"});
    const auto name = [&](const std::string& text) { m_plugin.set(NEBRIX_NAME_ADD_SSL_SERVER_CERTIFICATE_NAME, text); };
    for (const std::string& refused : {std::string(), std::string("a\nb"), std::string(256, 'a')})
        name(refused);
    expect("alice", "ticket", "server", {"8:4"});  // else any name would do
    m_plugin.entry<NebrixDllSetDownloadDelegate2>(NEBRIX_NAME_SET_DOWNLOAD_DELEGATE)(m_plugin.instance(), nullptr);
    start();
    EXPECT_EQ(pollUntil("5:init").back(), "5:init") << "a refused start can be mended";
    m_plugin.call(NEBRIX_NAME_STOP);
    for (int i = 0; i < 33; ++i)
        name("one too many");
    EXPECT_NE(m_plugin.text(NEBRIX_NAME_GET_LOGS).find("refused server name: one too many\n"), std::string::npos);
}

TEST_F(Tunnel, instancesAreOfNoConcernToEachOther) {
    const Plugin other("tunnel-simulated");
    start();
    EXPECT_EQ(other.poll(), Messages{});
    const std::string connected = pollUntil("5:connected").back();
    for (const char* setter : {NEBRIX_NAME_SET_LOGIN, NEBRIX_NAME_SET_TICKET, NEBRIX_NAME_SET_SERVER})
        other.set(setter, "other");
    other.call(NEBRIX_NAME_START);
    other.call(NEBRIX_NAME_STOP);
    EXPECT_EQ(m_plugin.poll(), Messages{connected});
    m_plugin.call(NEBRIX_NAME_STOP);
}

TEST_F(Tunnel, keepsSecretsOutOfItsLog) {
    m_plugin.set(NEBRIX_NAME_SET_SESSION_ID, "session-secret");
    m_plugin.set(NEBRIX_NAME_SET_CERT_PASSWORD, "password-secret");
    m_plugin.set(NEBRIX_NAME_SET_CERT_DIRECTORY, "/nonexistent");
    m_plugin.set(NEBRIX_NAME_SET_CERT_FILE_NAME, "client.p12");
    start("alice", "ticket-secret", "vpn.example\nforged line");
    EXPECT_EQ(m_plugin.poll(), Messages{"8:4"});
    start("alice", "ticket-secret");
    m_plugin.set(NEBRIX_NAME_SET_PROXY, "1|http|proxy|user|proxy-secret||save:no");
    pollUntil("5:init");
    m_plugin.call(NEBRIX_NAME_STOP);
    const std::string log = m_plugin.text(NEBRIX_NAME_GET_LOGS);
    EXPECT_EQ(log.find("secret"), std::string::npos) << log;
    EXPECT_NE(log.find("vpn.example?forged line\n"), std::string::npos) << log;
    EXPECT_NE(log.find("cannot read /nonexistent/client.p12\n"), std::string::npos) << log;
    EXPECT_NE(log.find("udp passes by the proxy proxy\n"), std::string::npos) << log;
}

TEST_F(Tunnel, executeKnowsItsCommandsOnly) {
    for (const char* unknown : {"", "State", "reconnect"})
        EXPECT_EQ(m_plugin.execute(unknown), -1) << unknown;
    EXPECT_EQ(m_plugin.execute("step-ms", "60000"), 0);
    for (const char* wrong : {"", "0", "60001", "5x"})
        EXPECT_EQ(m_plugin.execute("step-ms", wrong), -1) << wrong;
}

std::string g_url;
bool g_cut = false;

// Leaves half a file behind when the transfer is to fail, as the client's callback may.
bool download(const char* url, const char* path) {
    g_url = url;
    writeFile(path, g_cut ? "ha" : "whole");
    return !g_cut;
}

class NoTunnel : public ::testing::Test {
protected:
    void SetUp() override {
        g_cut = false;
        ::unsetenv("NEBRIX_RESOURCE_VIEWER");
        m_plugin.set(NEBRIX_NAME_SET_PLUGIN_DIR, m_directory.path() + "/");
        m_setDownload(m_plugin.instance(), download);
    }
    int launch(int type, const std::string& name) const {
        const auto entry = m_plugin.entry<NebrixLaunchSafeResource>(NEBRIX_NAME_LAUNCH_SAFE_RESOURCE);
        return entry(m_plugin.instance(), type, name.c_str());
    }

    TemporaryDirectory m_directory;
    Plugin m_plugin{"notunnel"};
    NebrixDllSetDownloadDelegate2 m_setDownload =
        m_plugin.entry<NebrixDllSetDownloadDelegate2>(NEBRIX_NAME_SET_DOWNLOAD_DELEGATE);
};

TEST_F(NoTunnel, fetchesAFileForItsOwnerAlone) {
    EXPECT_EQ(launch(1, "plan 100%.txt"), 1);
    EXPECT_EQ(g_url, "/resources/plan%20100%25.txt");
    const std::string path = m_directory.path("Resources/plan 100%.txt");
    EXPECT_EQ(static_cast<unsigned>(std::filesystem::status(path).permissions()), 0600U);
    g_cut = true;
    EXPECT_EQ(launch(1, "plan 100%.txt"), -4);
    EXPECT_EQ(readFile(path), "whole") << "a failed transfer must not touch the earlier file";
    EXPECT_EQ(listTree(m_directory.path()), "Resources/\nResources/plan 100%.txt\n");
    EXPECT_EQ(m_plugin.poll(), Messages{});
    EXPECT_NE(m_plugin.text(NEBRIX_NAME_GET_LOGS).find("cannot fetch /resources/"), std::string::npos);
}

TEST_F(NoTunnel, refusesWhatItDoesNotKnow) {
    g_url.clear();
    EXPECT_EQ(launch(0, "a"), -1);
    EXPECT_EQ(launch(2, "a"), -1);
    for (const std::string& name : split(";../a;a/b;a\\b;.hidden;a\nb;" + std::string(256, 'a'), ';'))
        EXPECT_EQ(launch(1, name), -2) << name;
    m_setDownload(m_plugin.instance(), nullptr);
    EXPECT_EQ(launch(1, "a"), -3);
    EXPECT_EQ(g_url, "") << "nothing may be fetched";
}

TEST_F(NoTunnel, startsTheNamedViewerOnly) {
    const std::string seen = m_directory.path("seen");
    const std::string viewer =
        m_directory.write("viewer", "#!/bin/sh\ncat \"$1\" >" + seen + ".new && mv " + seen + ".new " + seen + "\n");
    std::filesystem::permissions(viewer, std::filesystem::perms::owner_all);
    ::setenv("NEBRIX_RESOURCE_VIEWER", viewer.c_str(), 1);
    EXPECT_EQ(launch(1, "it's $(a) file"), 2);
    while (!std::filesystem::exists(seen))
        std::this_thread::yield();
    EXPECT_EQ(readFile(seen), "whole");
    for (const char* unusable : {"viewer", "/nonexistent/viewer"}) {
        ::setenv("NEBRIX_RESOURCE_VIEWER", unusable, 1);
        EXPECT_EQ(launch(1, "a"), -5) << unusable;
    }
}

}  // namespace
}  // namespace nebrix::test
