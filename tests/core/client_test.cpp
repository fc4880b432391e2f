#include "apps/nebrixclient/client.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <thread>

#include "apps/nebrixclient/componentdownload.h"
#include "libs/base/console.h"
#include "libs/base/file.h"
#include "tests/core/recorder.h"
#include "tests/integration/session.h"

namespace tessel::test {
namespace {

using gateway::ComponentType;

/// A driver in this process against a gateway in this process.
class ClientTest : public testing::Test {
protected:
    ClientTest() {
        setenv("NEBRIX_TEST_CALLS", m_home.data("calls").c_str(), 1);
        setenv("NEBRIX_TEST_STATUS", m_home.data("statuses").c_str(), 1);
    }

    void serve(gateway::Faults faults = {}) {
        gateway::GatewayOptions options = nebrix::test::recordingComponents();
        options.faults = faults;
        options.hostCheckingTimer = 0;
        options.continuedPosts = 1;
        m_gateway = std::make_unique<gateway::DemoGateway>(options);
        m_gateway->start();
        m_home.configure({m_gateway->authority()});
        nebrix::test::writeFile(m_home.data("statuses"), R"([{"code":5,"status":"connected ip=10.0.0.7"}])"
                                                         "\n");
        m_client = std::make_unique<NebrixClient>(m_notify, String::copy(m_home.data("log")));
    }
    void start(ComponentType type) { m_client->run(String::copy(m_gateway->mediation(type))); }
    [[nodiscard]] std::string calls() const { return nebrix::test::readFile(m_home.data("calls")); }
    [[nodiscard]] bool logged(const std::string& text) const {
        Console::current()->flush(5000);
        return nebrix::test::LogFile(m_home.data("log")).contains(text);
    }

    nebrix::test::PrivateHome m_home;
    NotifyRecorder m_notify;
    std::unique_ptr<gateway::DemoGateway> m_gateway;
    std::unique_ptr<NebrixClient> m_client;
};

TEST_F(ClientTest, ATunnelRunsFromTheLinkUntilItIsStopped) {
    serve();
    start(ComponentType::PluginDll);
    ASSERT_TRUE(m_notify.waitFor("vpn connected ip=10.0.0.7"));
    m_client->stop();
    ASSERT_TRUE(m_client->join(20000));
    EXPECT_EQ(std::filesystem::status(m_home.data()).permissions(), std::filesystem::perms::owner_all);
    const std::string made = calls();
    EXPECT_NE(made.find("DllSetCertDirectory2\t" + m_home.data() + "//Plugin/PKIs/"), std::string::npos);
    EXPECT_NE(made.find("DllSetProxy2\t1|none|||||save:no\n"), std::string::npos);
    EXPECT_FALSE(logged(m_gateway->clientId()));
    EXPECT_TRUE(logged("[nebrixclient] TRACE NebrixClientPluginDll.loadDll Module loaded"));
}

TEST_F(ClientTest, AStopThatMeetsTheComponentAtAnyMomentIsKept) {
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

TEST_F(ClientTest, ARestartBeginsWhenTheOldAttemptHasEnded) {
    serve();
    start(ComponentType::PluginDll);
    ASSERT_TRUE(m_notify.waitFor("vpn connected ip=10.0.0.7"));
    m_client->restart();
    m_client->restart();
    ASSERT_TRUE(m_notify.waitFor("dispatch 2", 2));
    m_notify.clear();
    ASSERT_TRUE(m_notify.waitFor("vpn connected ip=10.0.0.7"));
    while (!m_client->join(5)) {
        m_client->stop();
    }
    EXPECT_EQ(m_notify.lines().back(), "status 4");
    m_client->restart();
    EXPECT_TRUE(m_notify.waitFor("dispatch 2"));
}

TEST_F(ClientTest, ADriverThatGoesEndsWhatRuns) {
    gateway::Faults silent;
    silent.add(gateway::Fault::Silent);
    serve(silent);
    start(ComponentType::PluginDll);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    m_client.reset();  // within the test's time limit, although the gateway never answers
    serve();
    start(ComponentType::PluginDll);
    ASSERT_TRUE(m_notify.waitFor("vpn connected ip=10.0.0.7"));
    m_client.reset();
    EXPECT_NE(calls().find("DllStop2"), std::string::npos);
}

TEST_F(ClientTest, CancellingEndsEveryPhaseSoonAndWithoutAnError) {
    using Lines = std::vector<std::string>;
    const std::tuple<gateway::Fault, ComponentType, const char*, Lines> cases[] = {
        {gateway::Fault::Silent, ComponentType::Hostchecker, "request", {"status 4"}},
        {gateway::Fault::ArchiveSilent,
         ComponentType::Hostchecker,
         "hostchecker",
         {"dispatch 3", "status 2", "status 4"}},
        {gateway::Fault::ArchiveSilent, ComponentType::PluginDll, "Plugin", {"dispatch 2", "status 4"}}};
    for (const auto& [fault, type, folder, lines] : cases) {
        SCOPED_TRACE(folder);
        const bool downloads = fault == gateway::Fault::ArchiveSilent;
        gateway::Faults faults;
        faults.add(fault);
        serve(faults);
        TransferRecorder transfers;
        m_client->setProgress(&transfers);
        m_notify.clear();
        start(type);
        while (downloads ? transfers.received() == 0 : m_client->getServer().empty()) {
            std::this_thread::yield();
        }
        const auto begun = std::chrono::steady_clock::now();
        m_client->cancel();
        ASSERT_TRUE(m_client->join(20000));
        EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(2));
        EXPECT_EQ(m_notify.lines(), lines);
        EXPECT_EQ(transfers.over(), downloads);
        EXPECT_FALSE(std::filesystem::exists(m_home.data("calls"))) << "a component ran";
        if (downloads) {
            EXPECT_EQ(nebrix::test::listTree(m_home.data(folder)), std::string(typeName(type)) + "-1.0.0.zip.lock\n")
                << "half an archive is left";
        }
        m_client->restart();
        EXPECT_FALSE(m_client->join(200)) << "a new attempt is not cancelled any more";
        m_client.reset();
    }
}

TEST_F(ClientTest, AnArchiveBeyondTheLimitIsNotTaken) {
    serve();
    m_client->downloadManager().setLargestFile(1000);
    start(ComponentType::Hostchecker);
    ASSERT_TRUE(m_client->join(20000));
    EXPECT_EQ(m_notify.lines().back(), "fatal-error ");
    EXPECT_TRUE(logged("Body is longer than the limit of 1000"));
}

TEST_F(ClientTest, AnArchiveThatAnotherSessionHoldsIsWaitedForWithPatience) {
    serve();
    start(ComponentType::Hostchecker);
    ASSERT_TRUE(m_client->join(20000));
    Dll dll;
    dll.filename = "hostchecker-1.0.0.zip";
    dll.md5 = String::copy(m_gateway->archiveMd5(ComponentType::Hostchecker));
    dll.pattern = "libtest-hostchecker.so";
    const auto fetched = [&](const char* prefix, std::chrono::milliseconds patience) {
        ComponentDownload files(*m_client, "Test", prefix, hostcheckerDirectory(), true,
                                ComponentDownload::Members::Stay, patience);
        files.fetch(dll);
        return File::exists(files.libraryPath(dll));
    };
    const FileLock held(hostcheckerDirectory() + "/" + dll.filename + ".lock", [] { return false; });
    ASSERT_TRUE(held.held());
    EXPECT_TRUE(fetched("Impatient_", std::chrono::milliseconds(50)));
    EXPECT_TRUE(logged("TRACE Test.downloadDll Waiting for another session that fetches "));
    EXPECT_TRUE(logged("WARNING Test.downloadDll Another session hangs over "));
    const auto begun = std::chrono::steady_clock::now();
    m_client->downloadManager().cancel();
    EXPECT_FALSE(fetched("Cancelled_", std::chrono::seconds(20)));
    EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(5));
    const String prefix = "Impatient_" + dll.md5;
    dll.md5 = "";
    EXPECT_TRUE(fetched(prefix.str(), std::chrono::seconds(20)));
    EXPECT_TRUE(logged("WARNING Test.downloadDll No \"md5\" is announced for hostchecker-1.0.0.zip: "));
}

TEST_F(ClientTest, SessionsThatEndByThemselvesCallTheirComponentToItsEnd) {
    serve();
    TransferRecorder progress;
    m_client->setProgress(&progress);
    for (const ComponentType type : {ComponentType::Hostchecker, ComponentType::PluginDllNoTunnel}) {
        start(type);
        ASSERT_TRUE(m_client->join(30000));
    }
    EXPECT_NE(calls().find("CloseHostCheckerDll"), std::string::npos);
    EXPECT_NE(calls().find("LaunchSafeResource\t1\twelcome.txt"), std::string::npos);
    EXPECT_EQ(calls().find("DllStart2"), std::string::npos);
    EXPECT_EQ(progress.nextCheck(), 1000U);
    m_client.reset();
}

}  // namespace
}  // namespace tessel::test
