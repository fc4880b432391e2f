#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <sstream>

#include "libs/json/jsonwrapper.h"
#include "tests/integration/session.h"

namespace nebrix::test {
namespace {

using std::chrono::seconds;

GatewayOptions withFaults(GatewayOptions options, std::initializer_list<Fault> faults) {
    for (const Fault fault : faults) {
        options.faults.add(fault);
    }
    return options;
}

TEST(Sessions, theTunnelPluginConnectsAndEndsCleanlyOnASignal) {
    for (const int signal : {SIGINT, SIGTERM}) {
        Session session(referenceComponents());
        ChildProcess client(session.client(ComponentType::PluginDll, {"--changes-only"}), session.environment());
        EXPECT_TRUE(client.waitForOutput("vpn: connected ip=192.0.2.")) << client.output() << client.errors();
        client.signalGroup(signal);
        EXPECT_EQ(client.wait(), 0) << client.errors();
        const std::string output = client.output();
        EXPECT_TRUE(output.starts_with("dispatch: tunnel plug-in\n")) << output;
        EXPECT_TRUE(output.ends_with("status: session over\n")) << output;
        EXPECT_TRUE(std::filesystem::exists(session.home().data(
            "Plugin/PKIs/127.0.0.1_" + std::to_string(session.gateway().port()) + "/authority.pem")));
    }
}

TEST(Sessions, theTunnelPluginGetsTheSessionsValuesInOrder) {
    GatewayOptions options = recordingComponents();
    options.login = "somebody";
    options.ticket = "ticket of today";
    Session session(options);
    ChildProcess client(session.client(ComponentType::PluginDll), session.environment());
    while (session.calls().find("DllGetErrors2") == std::string::npos) {
        ASSERT_FALSE(client.wait(ChildProcess::Milliseconds(20))) << client.errors();
    }
    client.signal(SIGINT);
    ASSERT_EQ(client.wait(), 0);
    const std::string authority = session.gateway().authority();
    std::string calls = session.calls();
    std::size_t from = 0;
    for (const std::string& call :
         {std::string("DllCreatePluginFrontal\n"), std::string("DllSetDllVersion2\t1.0.0\n"),
          std::string("DllSetLogin2\tsomebody\n"), std::string("DllSetOrganization2\tDemonstration\n"),
          std::string("DllSetHostname2\t127.0.0.1\n"), "DllSetServer2\t" + authority + "\n",
          "DllSetSuffix2\t" + session.gateway().clientId() + "\n", std::string("DllSetTicket2\tticket of today\n"),
          std::string("DllSetSessionId2\tdemo-session\n"), std::string("DllSetCertFileName2\tclient.pem\n"),
          std::string("DllSetCaFileName2\tauthority.pem\n"), std::string("DllSetCertPassword2\tdemo-password\n"),
          std::string("DllAddSslServerCertificateName\tlocalhost\n"), std::string("DllStart2\n"),
          std::string("DllGetErrors2\n"), std::string("DllStop2\n")}) {
        const auto at = calls.find(call, from);
        EXPECT_NE(at, std::string::npos) << call << "in\n" << calls;
        from = at == std::string::npos ? from : at + call.size();
    }
    for (const char* secret : {"ticket of today", "demo-session", "demo-password"}) {
        EXPECT_FALSE(Session::log().contains(secret)) << secret;
    }
}

TEST(Sessions, theHostCheckerPostsUntilTheGatewayHasEnough) {
    GatewayOptions options = referenceComponents();
    options.hostCheckingTimer = 0;
    options.continuedPosts = 1;
    options.hostCheckingRequest = "root file /\nnothing file /no/such/file\nlinux kernel Linux\n";
    Session session(options);
    const Finished run = session.run(ComponentType::Hostchecker);
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(run.output,
              "dispatch: host checker\nstatus: downloading components\nstatus: host checking\nstatus: session over\n");
    EXPECT_EQ(session.gateway().hostChecks(), std::vector<std::string>(2, "root,linux"));
    EXPECT_EQ(Session::log().count("TRACE", "NebrixClientHostchecker.sendResponse", "demo host check"), 2U);
}

TEST(Sessions, thePluginWithoutTunnelFetchesThePublishedResource) {
    Session session(referenceComponents());
    const Finished run = session.run(ComponentType::PluginDllNoTunnel);
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(run.output, "dispatch: plug-in without tunnel\nstatus: session over\n");
    EXPECT_EQ(readFile(session.home().data("Plugin/Resources/welcome.txt")),
              "Welcome: this text was published by the demonstration gateway.\n");
}

TEST(Sessions, sayWhoTheyAreInEveryRequest) {
    Session session;
    ASSERT_EQ(session.run(ComponentType::Hostchecker).status, 0);
    const auto requests = session.gateway().requests().all();
    ASSERT_EQ(requests.size(), 3U);
    EXPECT_EQ(requests[0].target, "/mediation/hostchecker?lang=en&clientversion=8.9.0.35");
    EXPECT_EQ(requests[1].target, "/components/hostchecker/hostchecker-1.0.0.zip");
    EXPECT_EQ(requests[2].method + " " + requests[2].target + " " + requests[2].body,
              "POST /hostcheck/response rulesChecked=rule-a%2Crule-b");
    for (const auto& request : requests) {
        EXPECT_EQ(request.cookie, "Nebrix-Id=" + session.gateway().clientId());
        EXPECT_EQ(request.userAgent, "NebrixClient 8.9.0.35 Linux");
    }
}

TEST(Sessions, aSecondStartUsesTheUnpackedComponent) {
    Session session;
    for (int i = 0; i < 2; ++i) {
        session.clearMarks();
        ASSERT_EQ(session.run(ComponentType::Hostchecker).status, 0);
        EXPECT_TRUE(session.loaded());
    }
    EXPECT_EQ(session.gateway().requests().count("/components/"), 1U);
    EXPECT_EQ(Session::log().count("TRACE", "NebrixClientHostchecker.downloadDll", "* are already present."), 1U);
    // The archive alone is enough: it is unpacked again and not fetched.
    std::filesystem::remove_all(
        session.home().data("hostchecker/Hostchecker_" + session.gateway().archiveMd5(ComponentType::Hostchecker)));
    ASSERT_EQ(session.run(ComponentType::Hostchecker).status, 0);
    EXPECT_EQ(session.gateway().requests().count("/components/"), 1U);
}

TEST(Sessions, aCachedLibraryThatWasAlteredIsNotLoaded) {
    Session session;
    ASSERT_EQ(session.run(ComponentType::Hostchecker).status, 0);
    session.clearMarks();
    const std::vector<std::string> libraries = session.filesNamed("libtest-hostchecker.so");
    ASSERT_EQ(libraries.size(), 1U);
    writeFile(libraries[0], readFile(libraries[0]) + "x");
    EXPECT_EQ(session.run(ComponentType::Hostchecker).status, 1);
    EXPECT_FALSE(session.loaded());
    EXPECT_EQ(Session::log().count("ERROR", "FileSignature.verify", "bad hash "), 1U);
}

TEST(Sessions, withDownloadingSwitchedOffNothingIsFetched) {
    Session session;
    session.home().configure({session.gateway().authority()}, false);
    EXPECT_EQ(session.run(ComponentType::Hostchecker).status, 1);
    EXPECT_EQ(session.gateway().requests().count("/components/"), 0U);
    EXPECT_EQ(Session::log().count("TRACE", "NebrixClientHostchecker.downloadDll",
                                   "Not downloading dll according to configuration"),
              1U);
    EXPECT_FALSE(session.loaded());
}

TEST(Sessions, jsonIsOneObjectALine) {
    Session session;
    const Finished run = runProgram(session.client(ComponentType::Hostchecker, {"--json"}), session.environment());
    EXPECT_EQ(run.status, 0);
    std::istringstream lines(run.output);
    std::string events;
    for (std::string line; std::getline(lines, line);) {
        const tessel::json::JSONWrapperFromString event(tessel::String::copy(line));
        events += std::string(event["event"].asString().view()) + " ";
    }
    EXPECT_EQ(events, "dispatch status status status ");
}

TEST(Sessions, anUntrustedOrMissingGatewayIsStatus3) {
    Session session;
    session.home().configure({});
    const Finished untrusted = session.run(ComponentType::Hostchecker);
    EXPECT_EQ(untrusted.status, 3);
    EXPECT_TRUE(untrusted.output.starts_with("connect-error: ")) << untrusted.output;
    EXPECT_NE(untrusted.errors.find("/tmp/nebrixclient.log"), std::string::npos);
    EXPECT_EQ(session.gateway().requests().all().size(), 0U);
    session.gateway().stop();
    EXPECT_EQ(session.run(ComponentType::Hostchecker).status, 3);
}

TEST(Sessions, theWrongIdentifierIsRefused) {
    Session session;
    const std::string mediation = session.gateway().mediation(ComponentType::Hostchecker);
    const std::string stranger = "https://stranger" + mediation.substr(mediation.find('@'));
    const Finished run = runProgram({NEBRIX_TEST_BIN "/nebrixclient-cli", stranger}, session.environment());
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(Session::log().count("ERROR", "NebrixClient.main", "unknown client identifier"), 1U);
}

TEST(Sessions, aSecondSignalEndsAtOnceWhenTheGatewayNeverAnswers) {
    for (const Fault fault : {Fault::Silent, Fault::ArchiveSilent}) {
        Session session(withFaults(recordingComponents(), {fault}));
        ChildProcess client(session.client(ComponentType::Hostchecker), session.environment());
        const char* awaited = fault == Fault::Silent ? "/mediation/" : "/components/";
        ASSERT_TRUE(session.gateway().requests().waitFor(awaited, 1, seconds(30)));
        client.signal(SIGINT);
        EXPECT_TRUE(client.waitForErrors("a second signal ends the program at once"));
        EXPECT_FALSE(client.wait(ChildProcess::Milliseconds(0)));
        client.signal(SIGINT);
        EXPECT_EQ(client.wait(), 128 + SIGINT);
        EXPECT_FALSE(session.loaded());
    }
}

}  // namespace
}  // namespace nebrix::test
