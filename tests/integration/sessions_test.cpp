// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <functional>
#include <list>
#include <random>
#include <regex>
#include <sstream>

#include "apps/nebrix-demo-gateway/arguments.h"
#include "libs/json/jsonwrapper.h"
#include "tests/integration/session.h"

namespace nebrix::test {
namespace {

GatewayOptions referenceComponents() {
    GatewayOptions options;
    options.libraries = {{ComponentType::PluginDll, NEBRIX_COMPONENTS "/libnebrix-tunnel-simulated.so"},
                         {ComponentType::PluginDllNoTunnel, NEBRIX_COMPONENTS "/libnebrix-notunnel.so"},
                         {ComponentType::Hostchecker, NEBRIX_COMPONENTS "/libnebrix-hostchecker.so"}};
    return options;
}

TEST(Sessions, theTunnelPluginConnectsAndEndsCleanlyOnASignal) {
    for (const bool nohup : {false, true}) {
        Session session(referenceComponents());
        std::vector<std::string> words = session.client(ComponentType::PluginDll, {"--changes-only"});
        // What some who start programs leave behind.
        words.insert(words.begin(), {"env", nohup ? "--ignore-signal=CHLD,HUP" : "--ignore-signal=CHLD"});
        ChildProcess client(words);
        EXPECT_TRUE(client.waitForOutput("vpn: connected ip=192.0.2.")) << client.output() << client.errors();
        EXPECT_FALSE(client.wait(ChildProcess::Milliseconds(600))) << "and is polled";
        client.signalGroup(SIGHUP);
        if (nohup) {
            EXPECT_FALSE(client.wait(ChildProcess::Milliseconds(600))) << "it outlives its terminal";
            client.signalGroup(SIGTERM);
        }
        EXPECT_EQ(client.wait(), 0) << client.errors();
        const std::string output = client.output();
        EXPECT_TRUE(output.starts_with("dispatch: tunnel plug-in\n")) << output;
        EXPECT_TRUE(output.ends_with("status: session over\n")) << output;
        EXPECT_EQ(output.find("vpn: connected"), output.rfind("vpn: connected")) << output;
        EXPECT_TRUE(std::filesystem::exists(session.home().data(
            "Plugin/PKIs/127.0.0.1_" + std::to_string(session.gateway().port()) + "/authority.pem")));
    }
}

TEST(Sessions, aLinkThatIsNoneIsStatus2) {
    for (const char* link :
         {"https://id@/127.0.0.1:1/m", "https://id@:8443/m", "https://id@gw:http/m", "/m", "--wrong"}) {
        EXPECT_EQ(runProgram({NEBRIX_TEST_BIN "/nebrixclient-cli", link}).status, 2) << link;
    }
    const char* const tooLong = "(printf https://id@127.0.0.1:1/; head -c 66000 /dev/zero | tr '\\0' x) | \"$0\" -";
    EXPECT_EQ(runProgram({"sh", "-c", tooLong, NEBRIX_TEST_BIN "/nebrixclient-cli"}).status, 2);
}

TEST(Sessions, theHostCheckerPostsUntilTheGatewayHasEnough) {
    GatewayOptions options = referenceComponents();
    options.hostCheckingTimer = 0;
    options.continuedPosts = 1;
    options.hostCheckingRequest = "root file /\nnothing file /no/such/file\nlinux kernel Linux\n";
    Session session(options);
    const auto begun = std::chrono::steady_clock::now();
    const Finished run = session.run();
    EXPECT_GE(std::chrono::steady_clock::now() - begun, std::chrono::seconds(1)) << "of an interval of 0 seconds";
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

TEST(Sessions, aTunnelElsewhereIsAsTheGatewaysCommandLineSays) {
    const TemporaryDirectory folder;
    const std::vector<std::string> words = {
        "--server", "vpn.example:443/tcp", "--session-id",   "S",          "--server-name",
        "a",        "--server-name=b",     "--certificates", folder.path()};
    GatewayOptions options = tessel::gateway::parseArguments(words, "").options;
    options.libraries = recordingComponents().libraries;
    folder.write("ca.pem", "an authority");
    for (const std::string name : {"client.pem", "client.p12"}) {
        folder.write(name, name + " is preferred to what came before");
        Session session(options);
        const ChildProcess client(session.client(ComponentType::PluginDll));
        ASSERT_TRUE(session.waitForCall(client, "DllStart2")) << client.errors();
        const std::string place = session.home().data("Plugin/PKIs/vpn.example_443_tcp/");
        for (const std::string call :
             {"DllSetServer2\tvpn.example:443/tcp\n", "DllSetSessionId2\tS\n", "DllSetCaFileName2\tca.pem\n",
              "CertificateName\ta\nDllAddSslServerCertificateName\tb\nDllStart2\n"}) {
            EXPECT_NE(session.calls().find(call), std::string::npos) << session.calls();
        }
        EXPECT_EQ(readFile(place + name), readFile(folder.path(name)));
    }
}

TEST(Sessions, sayWhoTheyAreInEveryRequest) {
    Session session;
    const std::vector<std::string> words = session.client(ComponentType::Hostchecker);
    // Nobody reads what it prints.
    const char* const command = "printf ' %s \\r\\nmore' \"$1\" | { \"$0\" -; echo $? >&2; } | true";
    ASSERT_EQ(runProgram({"sh", "-c", command, words[0], words[1]}).errors, "0\n");
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

TEST(Sessions, aLaterStartUsesWhatIsThereAndFetchesOnceMoreWhatFailsItsCheck) {
    Session session;
    const std::string directory =
        session.home().data("hostchecker/Hostchecker_" + session.gateway().archiveMd5(ComponentType::Hostchecker));
    const std::string library = directory + "/libtest-hostchecker.so";
    const std::string archive = session.home().data("hostchecker/hostchecker-1.0.0.zip");
    const auto alter = [](const std::string& file) { writeFile(file, readFile(file) + "x"); };
    const std::tuple<const char*, std::function<void()>, unsigned, unsigned> rows[] = {
        {"nothing there", [] {}, 1, 0},
        {"all there", [] {}, 0, 0},
        {"no signature file", [&] { std::filesystem::remove(library + ".sig"); }, 0, 0},
        {"empty signature file", [&] { writeFile(library + ".sig", ""); }, 0, 1},
        {"altered library", [&] { alter(library); }, 0, 1},
        {"altered library and archive",
         [&] {
             alter(library);
             alter(archive);
         },
         1, 1},
        {"archive alone", [&] { std::filesystem::remove_all(directory); }, 0, 0},
        {"altered archive alone",
         [&] {
             std::filesystem::remove_all(directory);
             alter(archive);
         },
         1, 0},
    };
    unsigned fetched = 0;
    for (const auto& [what, change, fetches, again] : rows) {
        SCOPED_TRACE(what);
        change();
        EXPECT_EQ(session.run().status, 0);
        EXPECT_TRUE(session.loaded());
        EXPECT_EQ(session.gateway().requests().count("/components/"), fetched += fetches);
        const char* const where = "NebrixClientHostchecker.downloadDll";
        EXPECT_EQ(Session::log().count("WARNING", where, "* fails its check: it is fetched once more"), again);
        EXPECT_EQ(Session::log().count("WARNING", where, "* passes its check now"), again);
    }
}

TEST(Sessions, whatWasFetchedNowIsNotFetchedOnceMore) {
    GatewayOptions options = recordingComponents();
    options.faults.add(Fault::EditedLibrary);
    Session session(options);
    for (const unsigned checks : {1U, 2U}) {
        EXPECT_EQ(session.run().status, 1);
        EXPECT_EQ(Session::log().count("ERROR", "FileSignature.verify", "bad hash "), checks);
        EXPECT_EQ(session.gateway().requests().count("/components/"), 1U);
        EXPECT_FALSE(session.loaded());
    }
}

TEST(Sessions, thatStartAtOnceFetchANewComponentOnce) {
    GatewayOptions options = recordingComponents();
    options.faults.add(Fault::Slow);
    options.pause = std::chrono::milliseconds(5);
    Session session(options);
    std::list<ChildProcess> clients;
    for (int i = 0; i < 4; ++i) {
        clients.emplace_back(session.client(ComponentType::Hostchecker));
    }
    for (const ChildProcess& client : clients) {
        EXPECT_EQ(client.wait(), 0) << client.errors();
    }
    EXPECT_EQ(session.gateway().requests().count("/components/"), 1U);
}

TEST(Sessions, theRulesArePostedWholeOrNotAtAll) {
    for (const unsigned excess : {0U, 1U}) {
        Session session;
        setenv("NEBRIX_TEST_RULES", std::to_string((1U << 20U) + excess).c_str(), 1);
        EXPECT_EQ(session.run().status, 1) << "the gateway takes no verdict of this length";
        unsetenv("NEBRIX_TEST_RULES");
        const char* const where = "NebrixClientHostchecker.run";
        EXPECT_EQ(Session::log().count("ERROR", where, "The rules are longer than 1048576 bytes: nothing is posted"),
                  excess);
        EXPECT_EQ(Session::log().count("ERROR", "NebrixClient.attempt",
                                       "Session ended: the component's answer to GetValidRules is longer than allowed"),
                  excess);
        EXPECT_TRUE(session.calls().ends_with("CloseHostCheckerDll\n"));
    }
}

/// The account among the lines of --json, as "KIND CAUSE"; or one of its certificate's facts.
std::string accountOf(const Finished& run, const char* fact = nullptr) {
    std::istringstream lines(run.output);
    for (std::string line; std::getline(lines, line);) {
        const tessel::json::JSONWrapperFromString json(tessel::String::copy(line));
        if (json["event"].asString() == "end") {
            const tessel::String kind = json["kind"].asString() + " " + json["cause"].asString();
            return std::string((fact != nullptr ? json["peer"][fact].asString() : kind).view());
        }
    }
    return {};
}

TEST(Sessions, anUntrustedOrMissingGatewayIsStatus3) {
    Session session;
    session.home().configure({});
    const Finished untrusted = session.run();
    EXPECT_EQ(untrusted.status, 3);
    EXPECT_TRUE(untrusted.output.starts_with("connect-error: ")) << untrusted.output;
    EXPECT_NE(untrusted.errors.find("/tmp/nebrixclient.log"), std::string::npos);
    for (const char* fact :
         {"it is signed by itself alone\n", "  issued to: CN=localhost\n", "  names: localhost, 127.0",
          "  valid: from 20", "  certificate SHA-256: ", "--trust FINGERPRINT"}) {
        EXPECT_THAT(untrusted.errors, testing::HasSubstr(fact));
    }
    EXPECT_EQ(session.gateway().requests().all().size(), 0U);
    session.gateway().stop();
    const Finished missing = session.run();
    EXPECT_EQ(missing.status, 3);
    EXPECT_THAT(missing.errors, testing::HasSubstr(": the connection was refused: Failed to connect to 127.0.0.1 "));
}

TEST(Sessions, acceptTheNamedCertificateAloneAndForOnce) {
    Session session;
    session.home().configure({});
    const Finished untrusted = runProgram(session.client(ComponentType::Hostchecker, {"--json"}));
    EXPECT_EQ(accountOf(untrusted), "certificate self-signed");
    const std::string shown = accountOf(untrusted, "fingerprint");
    std::string other = shown;
    other[0] = other[0] == '0' ? '1' : '0';
    const std::pair<std::string, int> cases[] = {{shown, 0},
                                                 {std::regex_replace(shown, std::regex(":"), ""), 0},
                                                 {other, 3},
                                                 {shown + "0", 2},
                                                 {"=" + shown, 2}};
    // Also where no certificate is checked; and nothing is saved.
    for (const bool unchecked : {false, true}) {
        session.home().configure(unchecked ? std::vector{session.gateway().authority()} : std::vector<std::string>());
        const std::string settings = session.files().at(".Nebrix/nebrixclient.xml");
        for (const auto& [fingerprint, status] : cases) {
            const std::size_t asked = session.gateway().requests().all().size();
            const Finished run =
                runProgram(session.client(ComponentType::Hostchecker, {"--json", "--trust", fingerprint}));
            EXPECT_EQ(run.status, status) << fingerprint << run.errors;
            EXPECT_EQ(session.gateway().requests().all().size() > asked, status == 0) << fingerprint;
            EXPECT_EQ(accountOf(run), status == 3 ? "certificate not-the-one" : status == 2 ? "" : "gateway ");
            if (status == 3) {
                EXPECT_EQ(accountOf(run, "trustedFingerprint"), other);
                EXPECT_EQ(accountOf(run, "fingerprint"), shown);
            }
        }
        EXPECT_EQ(session.files().at(".Nebrix/nebrixclient.xml"), settings);
    }
}

TEST(Sessions, decideOnEachHostThatTheGatewayNames) {
    GatewayOptions options = recordingComponents();
    options.clientId = "me";
    DemoGateway elsewhere(options);
    elsewhere.start();
    options.elsewhere = elsewhere.authority();
    Session session(options);
    std::string named;
    // Refused at the archive, accepted, and with the archive there refused at the post.
    for (const int status : {3, 0, 3}) {
        const std::size_t asked = elsewhere.requests().all().size();
        std::vector<std::string> words{"--json"};
        if (status == 0) {
            words.insert(words.end(), {"--trust", named});
        }
        const Finished run = runProgram(session.client(ComponentType::Hostchecker, words));
        EXPECT_EQ(run.status, status) << run.errors;
        EXPECT_EQ(accountOf(run), status == 0 ? "gateway " : "certificate self-signed");
        EXPECT_EQ(elsewhere.requests().all().size() > asked, status == 0);
        if (status == 3) {
            EXPECT_THAT(run.errors, testing::HasSubstr("the certificate of " + options.elsewhere + " is not trusted"));
            EXPECT_THAT(run.errors, testing::HasSubstr("--trust " + options.elsewhere + "=FINGERPRINT accepts"));
            named = options.elsewhere + "=" + accountOf(run, "fingerprint");
        }
    }
}

TEST(Sessions, sendNothingToAGatewayWhoseTrustedKeyChanged) {
    Session session;
    session.home().configure({});
    const std::string authority = session.gateway().authority();
    const std::string trusted =
        accountOf(runProgram(session.client(ComponentType::Hostchecker, {"--json"})), "keyFingerprint");
    ASSERT_EQ(trusted.size(), 95U);
    GatewayOptions options = recordingComponents();
    options.port = session.gateway().port();
    for (const bool changed : {false, true}) {
        if (changed) {
            session.replaceGateway(options);
        }
        writeFile(session.home().data("nebrixclient.xml"),
                  "<nebrixclient><sslcertignoredomains><domains>" + authority +
                      "</domains></sslcertignoredomains><trustedkeys><key><server>" + authority + "</server><sha256>" +
                      trusted + "</sha256><since>2026-01-31T10:00:00Z</since></key></trustedkeys></nebrixclient>");
        const Finished run = runProgram(session.client(ComponentType::Hostchecker, {"--json"}));
        EXPECT_EQ(run.status, changed ? 3 : 0) << run.errors;
        EXPECT_EQ(session.gateway().requests().all().size(), changed ? 0U : 3U) << "all three go to that key";
        if (changed) {
            EXPECT_EQ(accountOf(run), "certificate changed");
            EXPECT_EQ(accountOf(run, "trustedKeyFingerprint"), trusted);
            EXPECT_THAT(run.errors, testing::HasSubstr("trusted since 2026-01-31 10:00:00 UTC"));
        }
    }
}

TEST(Sessions, oneSignalEndsWhateverTheComponentDoesAndALaterOneAtOnce) {
    for (const bool again : {false, true}) {
        GatewayOptions options = recordingComponents();
        // A stop that blocks leaves more time for the later signal.
        options.libraries[ComponentType::PluginDll] = NEBRIX_TEST_COMPONENTS "/libtest-zoo.so";
        Session session(options);
        setenv("NEBRIX_TEST_BLOCK", "1", 1);
        setenv("NEBRIX_TEST_ZOO", "DllStop2=block", 1);
        ChildProcess client(session.client(again ? ComponentType::PluginDll : ComponentType::Hostchecker));
        unsetenv("NEBRIX_TEST_BLOCK");
        unsetenv("NEBRIX_TEST_ZOO");
        ASSERT_TRUE(again ? client.waitForOutput("vpn: ") : session.waitForCall(client, "GetValidRules"));
        for (const int signal : {SIGSTOP, SIGINT}) {
            client.signal(signal);
        }
        for (const int signal : {SIGTERM, SIGCONT}) {  // so that it finds both at once
            client.signalGroup(signal);
        }
        EXPECT_TRUE(client.waitForErrors("a second signal ends the program at once"));
        if (again) {
            EXPECT_FALSE(client.wait(ChildProcess::Milliseconds(600)));
            client.signal(SIGINT);
        }
        EXPECT_EQ(client.wait(ChildProcess::Milliseconds(2000)), again ? 128 + SIGINT : 0) << client.errors();
    }
}

/// Kills the client at random moments of a download that trickles and of the unpacking behind it. The next session must
/// find nothing in its way.
TEST(Kills, leaveNothingThatStopsTheNextSession) {
    constexpr int kRounds = 12;
    constexpr unsigned kLatestMilliseconds = 400;
    const unsigned seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    GatewayOptions options = recordingComponents();
    options.faults.add(Fault::Slow);
    options.pause = std::chrono::milliseconds(10);
    for (int round = 0; round < kRounds; ++round) {
        Session session(options);
        {
            ChildProcess client(session.client(ComponentType::Hostchecker));
            client.wait(ChildProcess::Milliseconds(random() % kLatestMilliseconds));
            client.signalGroup(SIGKILL);
            ASSERT_TRUE(client.wait().has_value());
        }
        const Finished after = session.run();
        EXPECT_EQ(after.status, 0) << after.errors << Session::log().text();
        EXPECT_TRUE(session.loaded());
    }
}

}  // namespace
}  // namespace nebrix::test
