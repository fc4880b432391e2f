// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/client.h"

#include <chrono>
#include <ostream>
#include <thread>

#include "tests/core/drivertest.h"

namespace tessel::test {
namespace {

/// Something that is done to the driver in a phase of its session, what ends the session where the deed leaves it
/// running, and every notification; what polls of the plug-in repeat is left out, and "..." is the attempt that meets a
/// gateway on its way out.
struct Act {
    std::string phase;
    std::string deed;
    std::string ender;
    Lines lines;
};

/// Else GoogleTest prints the bytes, those without a value too.
void PrintTo(const Act& act, std::ostream* out) { *out << act.phase << ", " << act.deed; }

const Lines kTunnel{"dispatch 2", "vpn up", "end user", "status 4"};
const Lines kCheck{"dispatch 3", "status 2", "status 5", "end user", "status 4"};
const Lines kCheckTwice{"dispatch 3", "status 2", "status 5", "dispatch 3",
                        "status 2",   "status 5", "end user", "status 4"};
const Lines kOver{"dispatch 4", "end component", "status 4"};
const Lines kTwice{"dispatch 4", "end component", "status 4", "dispatch 4", "end component", "status 4"};

const Act kActs[] = {
    // Without a component there is nothing to stop. The gateway's end is an empty answer.
    {"request", "stop", "gateway", {"end answer-unreadable", "fatal-error"}},
    {"request", "restart", "gateway", {"end answer-unreadable", "fatal-error", "..."}},
    {"request", "restart_stop", "gateway", {"end answer-unreadable", "fatal-error"}},
    {"request", "run", "gateway", {"end answer-unreadable", "fatal-error"}},
    {"request", "cancel", "", {"end user", "status 4"}},
    {"answer", "restart", "", kOver},
    // From within the notification, before there is a component's object; the component is there from before.
    {"dispatch", "stop", "stop", kTunnel},
    {"dispatch", "restart", "stop", {"dispatch 2", "dispatch 2", "vpn up", "end user", "status 4"}},
    {"dispatch", "run", "stop", kTunnel},
    {"dispatch", "cancel", "", {"dispatch 2", "end user", "status 4"}},
    {"download", "stop", "gateway", {"dispatch 2", "end user", "status 4"}},
    {"download", "restart", "gateway", {"dispatch 2", "..."}},
    {"download", "run", "gateway", {"dispatch 2", "end archive-missing", "fatal-error"}},
    {"download", "cancel", "", {"dispatch 2", "end user", "status 4"}},
    // A component that fails its check is fetched once more.
    {"repair", "stop", "", {"dispatch 2", "end user", "status 4"}},
    {"tunnel", "stop", "", kTunnel},
    {"tunnel", "restart", "stop", {"dispatch 2", "vpn up", "dispatch 2", "vpn up", "end user", "status 4"}},
    {"tunnel", "run", "stop", kTunnel},
    {"tunnel", "cancel", "", kTunnel},
    // Between two host checks.
    {"check", "stop", "", kCheck},
    {"check", "restart", "stop", kCheckTwice},
    {"check", "run", "stop", kCheck},
    {"check", "cancel", "", kCheck},
    {"over", "stop", "", kOver},
    {"over", "restart", "", kTwice},
    {"over", "run", "", kTwice},
    {"over", "cancel", "", kOver}};

class Acts : public DriverTest, public testing::WithParamInterface<Act> {
protected:
    [[nodiscard]] bool in(const char* phase) const { return m_act.phase == phase; }

    void reach() {
        gateway::GatewayOptions options = nebrix::test::recordingComponents();
        options.hostCheckingTimer = 4294967295;
        options.continuedPosts = 9;
        options.pause = std::chrono::milliseconds(100);
        if (in("request") || in("download")) {
            options.faults.add(in("request") ? Fault::Silent : Fault::ArchiveSilent);
        } else if (in("answer") || in("repair")) {
            options.faults.add(Fault::Slow);
        }
        serve(options);
        if (in("dispatch") || in("repair")) {
            ASSERT_NO_FATAL_FAILURE(fetchTunnel());
        }
        if (in("dispatch")) {
            m_notify.onNext([this] { act(); });
        } else if (in("repair")) {
            for (const auto& entry : std::filesystem::recursive_directory_iterator(m_home.data("Plugin"))) {
                if (entry.is_regular_file() && entry.path().extension() != ".so") {
                    nebrix::test::writeFile(entry.path(), "");
                }
            }
            std::filesystem::remove(recordedCalls());
        }
        start(in("check")                  ? ComponentType::Hostchecker
              : in("over") || in("answer") ? ComponentType::PluginDllNoTunnel
                                           : ComponentType::PluginDll);
        if (in("request") || in("answer") || in("download")) {
            const char* const path = in("download") ? "/components/" : "/mediation/";
            ASSERT_TRUE(m_gateway->requests().waitFor(path, 1, std::chrono::seconds(20)));
        } else if (in("repair")) {
            ASSERT_TRUE(m_gateway->requests().waitFor("/components/", 2, std::chrono::seconds(20)));
        } else if (in("tunnel")) {
            ASSERT_TRUE(m_notify.waitFor("vpn up"));
        } else if (in("check")) {
            ASSERT_EQ(m_progress.nextCheck(), 2147483000U) << "the longest there is";
        } else if (in("over")) {
            ASSERT_TRUE(m_client->join(20000));
        }
    }
    void act() {
        if (m_act.deed == "run") {
            m_client->run(link(ComponentType::PluginDllNoTunnel) + "&another");
        } else if (m_act.deed == "stop") {
            m_client->stop();
        } else if (m_act.deed == "cancel") {
            m_client->cancel();
        } else {
            m_client->restart();
            if (m_act.deed == "restart_stop") {
                m_client->stop();
            }
        }
    }

    const Act& m_act = GetParam();
};

TEST_P(Acts, areAnsweredByTheseNotificationsAlone) {
    ASSERT_NO_FATAL_FAILURE(reach());
    if (!in("dispatch")) {
        act();
    }
    if (m_act.ender == "gateway") {
        m_gateway->stop();
    } else if (m_act.ender == "stop") {
        EXPECT_TRUE(m_notify.waitForChanges(m_act.lines.size() - 2));
        m_client->stop();
    }
    EXPECT_TRUE(m_client->join(20000));
    Lines lines = m_notify.changes();
    if (m_act.lines.back() == "..." && lines.size() >= m_act.lines.size()) {
        lines.resize(m_act.lines.size());
        lines.back() = "...";
    }
    EXPECT_EQ(lines, m_act.lines);
    EXPECT_EQ(m_client->getMediation().find("another") != String::npos, in("over") && m_act.deed == "run");
    if (in("download") && m_act.deed == "cancel") {
        EXPECT_EQ(nebrix::test::listTree(m_home.data("Plugin")), "plugindll-1.0.0.zip.lock\n") << "half an archive";
    }
    EXPECT_TRUE(!(in("download") || in("repair")) || calls().empty()) << "a component ran";
}

INSTANTIATE_TEST_SUITE_P(Driver, Acts, testing::ValuesIn(kActs),
                         [](const auto& test) { return test.param.phase + "_" + test.param.deed; });

class ClientTest : public DriverTest {};

TEST_F(ClientTest, aTunnelRunsFromTheLinkUntilItIsStopped) {
    serve();
    EXPECT_EQ(NebrixClient::getLangFromArg(link(ComponentType::PluginDll)), "en");
    EXPECT_EQ(NebrixClient::getLangFromArg("#a\n"), "");
    EXPECT_TRUE(logged("TRACE Exception.catch EUri:"));
    m_client->localConfiguration().setCredentials(Credentials("me", "p|w", "CORP"));
    const auto begun = std::chrono::steady_clock::now();
    start(ComponentType::PluginDll);
    ASSERT_TRUE(m_notify.waitFor("vpn up"));
    const auto first = std::chrono::steady_clock::now();
    ASSERT_TRUE(m_notify.waitFor("vpn up", 3));
    EXPECT_GE(std::chrono::steady_clock::now() - begun, std::chrono::seconds(1)) << "two polls";
    EXPECT_LT(std::chrono::steady_clock::now() - first, std::chrono::seconds(3));
    m_client->stop();
    ASSERT_TRUE(m_client->join(20000));
    EXPECT_EQ(std::filesystem::status(m_home.data()).permissions(), std::filesystem::perms::owner_all);
    const std::string directory = m_home.data() + "//Plugin";
    const std::string gateway = m_gateway->authority();
    const std::string begin = "DllCreatePluginFrontal\nDllSetDllVersion2\t1.0.0\nDllSetPluginDir2\t" + directory +
                              "/\nDllSetProxy2\t1|none||me|p|w|CORP|save:no\nDllSetLogin2\tdemo\nDllSetOrganization2\t"
                              "Demonstration\nDllSetHostname2\t127.0.0.1\nDllSetServer2\t" +
                              gateway + "\nDllSetSuffix2\t" + m_gateway->clientId() +
                              "\nDllSetTicket2\tdemo-ticket\nDllSetSessionId2\tdemo-session\nDllSetCertDirectory2\t" +
                              directory + "/PKIs/127.0.0.1_" + std::to_string(m_gateway->port()) +
                              "\nDllSetCertFileName2\tclient.pem\nDllSetCaFileName2\tauthority.pem\n"
                              "DllSetCertPassword2\tdemo-password\nDllSetDownloadDelegate2\tset\n"
                              "DllAddSslServerCertificateName\tlocalhost\nDllAddSslServerCertificateName\t127.0.0.1\n"
                              "DllStart2\nDllGetErrors2\nDllReleaseStr\t";
    EXPECT_EQ(calls().substr(0, begin.size()), begin);
    EXPECT_TRUE(calls().ends_with("\nDllStop2\nDllGetLogs2\nDllReleaseStr\tlog of the recorder\n")) << calls();
    EXPECT_FALSE(logged(m_gateway->clientId()));
    EXPECT_TRUE(logged("[nebrixclient] TRACE NebrixClientPluginDll.loadDll Module loaded"));
}

TEST_F(ClientTest, aStopThatMeetsTheComponentAtAnyMomentIsKept) {
    serve();
    for (unsigned round = 0; round < 8; ++round) {
        m_notify.clear();
        start(ComponentType::PluginDll);
        ASSERT_TRUE(m_notify.waitFor("dispatch 2"));
        std::this_thread::sleep_for(std::chrono::milliseconds(round * 3));
        std::thread second([this] { m_client->showLogs(); });
        // From the announcement on there is a component within moments: ask until it has ended.
        while (!m_client->join(5)) {
            m_client->stop();
        }
        second.join();
        EXPECT_EQ(m_notify.lines().back(), "status 4");
    }
}

// All within the test's time limit.
TEST_F(ClientTest, aDriverThatGoesEndsWhatRuns) {
    serve({Fault::Silent});
    start(ComponentType::PluginDll);
    ASSERT_TRUE(m_gateway->requests().waitFor("/mediation/", 1, std::chrono::seconds(20)));
    m_client.reset();
    serve();
    start(ComponentType::PluginDll);
    ASSERT_TRUE(m_notify.waitFor("vpn up"));
    m_client.reset();
    EXPECT_TRUE(calls().ends_with("\nDllStop2\nDllGetLogs2\nDllReleaseStr\tlog of the recorder\n")) << calls();
    serve();
    ASSERT_NO_FATAL_FAILURE(fetchTunnel());
    m_notify.onNext([&manager = m_client->downloadManager()] {
        while (!manager.cancelled()) {
            std::this_thread::yield();
        }
    });
    start(ComponentType::PluginDll);
    ASSERT_TRUE(m_notify.waitFor("dispatch 2"));
    m_client.reset();
}

TEST_F(ClientTest, aRestartAfterACancelIsAnAttemptOfItsOwn) {
    serve({Fault::Silent});
    m_client->setStackSize(1UL << 46U);
    EXPECT_THROW(start(ComponentType::Hostchecker), EThread) << "no attempt yet";
    m_client->setStackSize(0);
    start(ComponentType::Hostchecker);
    ASSERT_TRUE(m_gateway->requests().waitFor("/mediation/", 1, std::chrono::seconds(20)));
    m_client->cancel();
    m_client->restart();
    ASSERT_TRUE(m_gateway->requests().waitFor("/mediation/", 2, std::chrono::seconds(20)));
    m_gateway->stop();
    ASSERT_TRUE(m_client->join(20000));
    EXPECT_EQ(m_notify.lines(), (Lines{"end user", "status 4", "end answer-unreadable", "fatal-error"}));
}

TEST_F(ClientTest, aCancelLastsUntilTheNextAttempt) {
    for (const Fault fault : {Fault::Silent, Fault::ArchiveSilent}) {
        serve({fault});
        start(ComponentType::Hostchecker);
        const char* const path = fault == Fault::Silent ? "/mediation/" : "/components/";
        ASSERT_TRUE(m_gateway->requests().waitFor(path, 1, std::chrono::seconds(20)));
        const auto begun = std::chrono::steady_clock::now();
        m_client->cancel();
        ASSERT_TRUE(m_client->join(20000));
        EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(2));
        m_client->restart();
        EXPECT_TRUE(m_gateway->requests().waitFor(path, 2, std::chrono::seconds(20)));
        EXPECT_FALSE(m_client->join(200)) << "a new attempt is not cancelled any more";
        m_client->cancel();
    }
}

}  // namespace
}  // namespace tessel::test
