// SPDX-License-Identifier: Apache-2.0
// What becomes of each kind of component, from its archive to its end.

#include "apps/nebrixclient/componentdownload.h"
#include "apps/nebrixclient/plugindllclient.h"
#include "libs/base/file.h"
#include "tests/core/drivertest.h"

namespace tessel::test {
namespace {

struct Outcome {
    ComponentType type;
    std::initializer_list<Fault> faults;
    Lines lines;
    /// Calls of the component, in which "DIR" stands for the data directory; none of what must not be loaded.
    std::string calls;
};

const std::string kHostchecker =
    "InitHostCheckerDll\t\t\tDIR//hostchecker/\t127.0.0.1\ten\nGetValidRules\tthe request\nCloseHostCheckerDll\n";

using enum sign::ComponentKind;

const Outcome kOutcomes[] = {
    {Hostchecker, {}, {"dispatch 3", "status 2", "status 5", "end gateway", "status 4"}, kHostchecker},
    {Hostchecker,
     {Fault::PostRefusal},
     {"dispatch 3", "status 2", "status 5", "end host-check-refused", "status 4"},
     kHostchecker},
    {Hostchecker,
     {Fault::BadPostAnswer},
     {"dispatch 3", "status 2", "status 5", "end post-lost", "status 4"},
     kHostchecker},
    {PluginDllNoTunnel,
     {},
     {"dispatch 4", "end component", "status 4"},
     "DllCreatePluginFrontal\nDllSetDllVersion2\t1.0.0\nDllSetPluginDir2\tDIR//Plugin/\nDllSetDownloadDelegate2\tset\n"
     "LaunchSafeResource\t1\twelcome.txt\n"},
    // Nobody runs what is not genuine, whoever would load it.
    {PluginDll, {Fault::EditedLibrary}, {"dispatch 2", "end signature", "fatal-error"}, ""},
    {PluginDllNoTunnel, {Fault::EditedLibrary}, {"dispatch 4", "end signature", "fatal-error"}, ""},
    {PluginDllNoTunnel, {Fault::MissingLibrary}, {"dispatch 4", "end not-unpacked", "fatal-error"}, ""},
    {PluginDllNoTunnel, {Fault::MissingSignature}, {"dispatch 4", "end not-unpacked", "fatal-error"}, ""},
    {PluginDll, {Fault::BadPattern}, {"dispatch 2", "end answer-unreadable", "fatal-error"}, ""}};

class ComponentsTest : public DriverTest {};

TEST_F(ComponentsTest, eachKindHasItsNotificationsAndCallsInOrder) {
    for (const Outcome& expected : kOutcomes) {
        gateway::GatewayOptions options = nebrix::test::recordingComponents();
        options.hostCheckingRequest = "the request";
        for (const Fault fault : expected.faults) {
            options.faults.add(fault);
        }
        std::filesystem::remove_all(m_home.data());
        serve(options);
        EXPECT_EQ(run(expected.type), expected.lines);
        std::string calls = expected.calls;
        if (const auto at = calls.find("DIR"); at != std::string::npos) {
            calls.replace(at, 3, m_home.data());
        }
        EXPECT_EQ(this->calls(), calls) << expected.lines[expected.lines.size() - 2];
    }
}

TEST_F(ComponentsTest, whatIsGivenUpAtItsAnnouncementIsNotLoaded) {
    for (const ComponentType type : {Hostchecker, PluginDllNoTunnel}) {
        serve();
        (void)run(type);
        std::filesystem::remove(recordedCalls());
        m_notify.onNext([this] { m_client->cancel(); });
        EXPECT_EQ(run(type).back(), "status 4");
        EXPECT_EQ(calls(), "");
    }
}

TEST_F(ComponentsTest, eachKindObeysTheSwitchOfItsDirectory) {
    for (const std::string off : {"plugindll", "hostcheckerdll"}) {
        serve();
        say(R"([{"code":8,"reason":2}])");  // so that the tunnel ends by itself
        m_home.configure({m_gateway->authority()}, "<" + off + "><download>false</download></" + off + ">");
        m_client.reset();
        m_client = std::make_unique<NebrixClient>(m_notify, String::copy(m_home.data("log")));
        for (const ComponentType type : gateway::kComponentTypes) {
            (void)run(type);
            const bool fetched = (type == Hostchecker) == (off == "plugindll");
            EXPECT_EQ(m_gateway->requests().count("/components/" + std::string(gateway::typeName(type)) + "/"), fetched)
                << off;
        }
        EXPECT_TRUE(logged(".downloadDll Not downloading dll according to configuration")) << off;
    }
}

TEST_F(ComponentsTest, certificatesLieInADirectoryOfTheirServersOwn) {
    serve();
    const std::pair<const char*, const char*> servers[] = {{"vpn-1.Example:8443", "vpn-1.Example_8443"},
                                                           {"..", "__"},
                                                           {".", "_"},
                                                           {"../_z", "..__z"},
                                                           {"a\xc3\xa9'", "a___"}};
    for (const auto& [server, directory] : servers) {
        ClientPluginDllConfiguration configuration;
        configuration.server = server;
        const NebrixClientPluginDll plugin(*m_client, m_notify, configuration, m_client->downloadManager(), true);
        EXPECT_EQ(plugin.getCertDir(), pluginDirectory() + "/PKIs/" + directory);
    }
}

TEST_F(ComponentsTest, anArchiveThatAnotherSessionHoldsIsWaitedForWithPatience) {
    serve();
    (void)run(Hostchecker);
    Dll dll;
    dll.filename = "hostchecker-1.0.0.zip";
    dll.md5 = String::copy(m_gateway->archiveMd5(Hostchecker));
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

}  // namespace
}  // namespace tessel::test
