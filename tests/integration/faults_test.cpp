// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <regex>

#include "tests/integration/session.h"

namespace nebrix::test {
namespace {

using tessel::gateway::faultNamed;

/// How a session ends: the program's status, and its output as a pattern.
struct End {
    int status;
    const char* output;
};

constexpr End kFatal{1, "(.*\n)?fatal-error\n"};
constexpr End kUnreachable{3, "(.*\n)?connect-error: [^\n]*\n"};
constexpr End kOver{0, "(.*\n)?status: session over\n"};
constexpr End kOverInVain{1, kOver.output};
constexpr End kNotTaken{1, kUnreachable.output};

/// A line of the log: "Class.method", text, label (see LogFile::count).
struct Logged {
    const char* where;
    const char* text;
    const char* label = "ERROR";
};

struct Case {
    const char* fault;
    End end;
    const char* why;  // what standard error says first, as a pattern; empty for an end that was wanted
    std::vector<Logged> log;
};

/// An exception that was caught, with its places.
constexpr Logged caught(const char* text) { return {"Exception.catch", text, "TRACE"}; }

constexpr const char* kNotFetched = "the component could not be fetched from GW: HTTP status 404";
constexpr const char* kTypeUnknown = "in the answer of GW \"result.type\" must be a type that this client knows";
constexpr const char* kFetchCut = "the component could not be fetched from GW: the connection was cut.*";
constexpr const char* kPostLost = "the result of the host check could not be given to GW: the answer could not .*";

const Logged kSignatureMissing{"SignedDll.loadFromFile", "Missing signature file: *"};
const Logged kNotParsed{"SignedDll.loadFromFile", "Error while parsing signature"};
const Logged kNotGenuine{"NebrixClient.main", "Bad component signature"};
const Logged kBadDll{"NebrixClient.verifyDllSignature", "Bad dll signature for *"};
const Logged kBadHash{"FileSignature.verify", "bad hash "};
const Logged kBadSignature{"FileSignature.verify", "bad signature"};
const Logged kNotJson = caught("EMediationResponse:client:59 -> client:160");
const Logged kIncomplete = caught("EMediationResponse:client:62 -> client:160");
const Logged kIncompleteResult = caught("EConfMissingKey:confhelper:192 -> client:160");
const Logged kNoSuchType = caught("EClientConfiguration:clientconfiguration:90 -> client:160");
const Logged kNoPlatform{"ConfHelper.OptionalConf", "Using missing configuration: \"linux64_openssl3\""};
const Logged kNotThere = caught("EConfUsingMissingOptionalConf:confhelper:264 -> client:160");
const Logged kNotDownloaded{"DownloadManager.downloadFileTo", "Error while downloding '*"};
const Logged kPostRefused{"NebrixClientHostchecker.main", "the demonstration refuses the host check"};
const Logged kPostUnreadable{"NebrixClientHostchecker.run", "Bad response from mediation"};
const Logged kRefused{"NebrixClient.main", "the demonstration refuses"};
const Logged kTooLong{"CurlEasyWrapper.request", "Body is longer than the limit of *"};
const Logged kMissing{"ConfReadHelper.readKey", "Missing tag: <*>"};
const Logged kUnknown{"ClientConfiguration.load", "Unknown configuration type: unknown"};
const Logged kNotParsable{"JSONWrapperFromString:", "unable to parse json !"};

const Case kCases[] = {
    // Of the mediation.
    {"refusal", kFatal, "the gateway GW refused the session: \"the demonstration refuses\"", {kRefused}},
    {"status-500", kOver, "", {{"NebrixClient.main", "mediation response is HTTP.500"}}},
    {"status-404", kFatal, "the answer of GW is not JSON \\(HTTP status 404\\)", {kNotJson}},
    {"redirect", kFatal, "the answer of GW is not JSON \\(HTTP status 302\\)", {kNotJson}},
    {"not-json", kFatal, "the answer of GW is not JSON", {kNotParsable, kNotJson}},
    {"deep-json", kFatal, "the answer of GW is not JSON", {kNotJson}},
    {"oversize", kNotTaken, "the answer of GW could not be read: it is larger than allowed.*", {kTooLong}},
    {"missing-success", kFatal, "the answer of GW lacks \"success\"", {kMissing, kIncomplete}},
    {"missing-result", kFatal, "the answer of GW lacks \"result\"", {kIncomplete}},
    {"missing-key", kFatal, "the answer of GW lacks \"result.responseurl\"", {kMissing, kIncompleteResult}},
    {"unknown-type", kFatal, kTypeUnknown, {kUnknown, kNoSuchType}},
    {"missing-platform", kFatal, "the answer of GW lacks \"linux64_openssl3\"", {kNoPlatform, kNotThere}},
    {"slow", kOver, "", {}},

    // Of the archive.
    {"bad-filename", kFatal, "in the answer of GW \"filename\" must be a plain file name", {{"*", "*filename*"}}},
    {"bad-pattern", kFatal, "in the answer of GW \"pattern\" must be a plain file name", {{"*", "*pattern*"}}},
    {"bad-md5", kFatal, "in the answer of GW \"md5\" must be a plain file name", {{"*", "*md5*"}}},
    {"archive-404", kFatal, kNotFetched, {kNotDownloaded, kSignatureMissing, kNotGenuine}},
    {"archive-cut", kFatal, kFetchCut, {kNotDownloaded, kSignatureMissing, kNotGenuine}},
    {"archive-damaged", kFatal, "the archive .* could not be unpacked: .+", {kSignatureMissing, kNotGenuine}},
    {"archive-symlink", kFatal, "the archive .* could not be unpacked: .+", {kSignatureMissing, kNotGenuine}},
    {"archive-escape", kFatal, "the archive .* could not be unpacked: .+", {kSignatureMissing, kNotGenuine}},
    {"missing-signature", kFatal, "the signature file .*.sig is missing", {kSignatureMissing, kNotGenuine}},
    {"missing-library", kFatal, "/.* cannot be read or written: No such file or directory", {caught("EFile:*")}},
    {"wrong-md5", kOver, "", {}},

    // Of the signature.
    {"wrong-signature", kFatal, "the signature of .* is not valid", {kBadSignature, kBadDll, kNotGenuine}},
    {"foreign-key", kFatal, "the signature of .* is not valid", {kBadSignature, kBadDll, kNotGenuine}},
    {"edited-version", kFatal, "the signature of .* is not valid", {kBadSignature, kBadDll, kNotGenuine}},
    {"edited-name", kFatal, "the signature of .* is not valid", {kBadSignature, kBadDll, kNotGenuine}},
    {"edited-date", kFatal, "the signature of .* is not valid", {kBadSignature, kBadDll, kNotGenuine}},
    {"edited-digest", kFatal, ".* is not the library that was signed", {kBadHash, kBadDll, kNotGenuine}},
    {"edited-library", kFatal, ".* is not the library that was signed", {kBadHash, kBadDll, kNotGenuine}},
    {"no-signature-key", kFatal, "the signature file .* cannot be read", {kNotParsed, kNotGenuine}},

    // Of the host check.
    {"bad-post-answer", kOverInVain, kPostLost, {kPostUnreadable}},
    {"post-refusal", kOverInVain, "the gateway GW refused the host check: \"the demo.*\"", {kPostRefused}},
};

class Faults : public testing::TestWithParam<Case> {};

TEST_P(Faults, endInTheRightMessageAndHarmNothing) {
    const Case& expected = GetParam();
    Session session;
    const Finished earlier = session.run();
    ASSERT_EQ(earlier.status, 0) << earlier.output << earlier.errors << Session::log().text();
    ASSERT_TRUE(session.loaded());

    GatewayOptions options = recordingComponents();
    options.version = "2.0.0";  // so that the earlier session's archive is not the one
    options.faults.add(faultNamed(expected.fault).value());
    options.pause = std::chrono::milliseconds(5);
    session.replaceGateway(options);
    const std::map<std::string, std::string> before = session.files();
    const Finished run = session.run();
    const LogFile log = Session::log();
    EXPECT_EQ(run.status, expected.end.status) << run.errors;
    EXPECT_THAT(run.output, testing::MatchesRegex(expected.end.output));
    for (const Logged& line : expected.log) {
        EXPECT_GE(log.count(line.label, line.where, line.text), 1U) << line.text << "\nin\n" << log.text();
    }
    EXPECT_EQ(session.loaded(), expected.end.output == kOver.output);
    const std::string first = run.errors.substr(0, run.errors.find('\n'));
    const std::string why = expected.why;
    const std::string gateway = session.gateway().authority();
    EXPECT_THAT(first,
                testing::MatchesRegex(
                    why.empty() ? why : "nebrixclient-cli: " + std::regex_replace(why, std::regex("GW"), gateway)));
    EXPECT_TRUE(why.empty() || log.count("ERROR", "NebrixClient.attempt", "Session ended: *") == 1) << log.text();

    const std::map<std::string, std::string> after = session.files();
    for (const auto& [name, content] : before) {
        const bool same = after.contains(name) && after.at(name) == content;
        EXPECT_TRUE(same || name == ".Nebrix/components.xml") << name;
    }
    for (const auto& [name, content] : after) {
        EXPECT_EQ(name.find("escaped"), std::string::npos) << name;
    }
}

INSTANTIATE_TEST_SUITE_P(All, Faults, testing::ValuesIn(kCases), [](const auto& test) {
    std::string name = test.param.fault;
    std::ranges::replace(name, '-', '_');
    return name;
});

}  // namespace
}  // namespace nebrix::test
