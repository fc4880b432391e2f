#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

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

/// A line of the log: "Class.method", text, label (see LogFile::count).
struct Logged {
    const char* where;
    const char* text;
    const char* label = "ERROR";
};

struct Case {
    const char* fault;
    End end;
    std::vector<Logged> log;
};

/// An exception that was caught, with its places.
constexpr Logged caught(const char* text) { return {"Exception.catch", text, "TRACE"}; }

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
const Logged kNotDownloaded{"DownloadManager.downloadFileTo", "Error while downloding '*"};
const Logged kPostRefused{"NebrixClientHostchecker.main", "the demonstration refuses the host check"};

const Case kCases[] = {
    // Of the mediation.
    {"refusal", kFatal, {{"NebrixClient.main", "the demonstration refuses"}}},
    {"status-500", kOver, {{"NebrixClient.main", "mediation response is HTTP.500"}}},
    {"status-404", kFatal, {{"NebrixClient.main", "mediation response is HTTP.404"}, kNotJson}},
    {"redirect", kFatal, {{"NebrixClient.main", "mediation response is HTTP.302"}, kNotJson}},
    {"not-json", kFatal, {{"JSONWrapperFromString:", "unable to parse json !"}, kNotJson}},
    {"deep-json", kFatal, {kNotJson}},
    {"oversize", kUnreachable, {{"CurlEasyWrapper.request", "Body is longer than the limit of *"}}},
    {"missing-success", kFatal, {{"ConfReadHelper.readKey", "Missing tag: <success>"}, kIncomplete}},
    {"missing-result", kFatal, {kIncomplete}},
    {"missing-key", kFatal, {{"ConfReadHelper.readKey", "Missing tag: <responseurl>"}, kIncompleteResult}},
    {"unknown-type", kFatal, {{"ClientConfiguration.load", "Unknown configuration type: unknown"}, kNoSuchType}},
    {"missing-platform", kFatal, {kNoPlatform}},
    {"slow", kOver, {}},

    // Of the archive.
    {"bad-filename", kFatal, {{"*", "*filename*"}}},
    {"bad-pattern", kFatal, {{"*", "*pattern*"}}},
    {"bad-md5", kFatal, {{"*", "*md5*"}}},
    {"archive-404", kFatal, {kNotDownloaded, kSignatureMissing, kNotGenuine}},
    {"archive-cut", kFatal, {{"CurlEasyWrapper.request", "*"}, kNotDownloaded, kSignatureMissing, kNotGenuine}},
    {"archive-damaged", kFatal, {kSignatureMissing, kNotGenuine}},
    {"archive-symlink", kFatal, {kSignatureMissing, kNotGenuine}},
    {"archive-escape", kFatal, {kSignatureMissing, kNotGenuine}},
    {"missing-signature", kFatal, {kSignatureMissing, kNotGenuine}},
    {"missing-library", kFatal, {caught("EFile:*")}},
    {"wrong-md5", kOver, {}},

    // Of the signature.
    {"wrong-signature", kFatal, {kBadSignature, kBadDll, kNotGenuine}},
    {"foreign-key", kFatal, {kBadSignature, kBadDll, kNotGenuine}},
    {"edited-version", kFatal, {kBadSignature, kBadDll, kNotGenuine}},
    {"edited-name", kFatal, {kBadSignature, kBadDll, kNotGenuine}},
    {"edited-date", kFatal, {kBadSignature, kBadDll, kNotGenuine}},
    {"edited-digest", kFatal, {kBadHash, kBadDll, kNotGenuine}},
    {"edited-library", kFatal, {kBadHash, kBadDll, kNotGenuine}},
    {"no-signature-key", kFatal, {kNotParsed, kNotGenuine}},

    // Of the host check.
    {"bad-post-answer", kOver, {{"NebrixClientHostchecker.run", "Bad response from mediation"}}},
    {"post-refusal", kOver, {kPostRefused}},
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
    EXPECT_EQ(session.loaded(), expected.end.status == 0);
    EXPECT_EQ(run.errors.empty(), expected.end.status == 0) << run.errors;

    const std::map<std::string, std::string> after = session.files();
    for (const auto& [name, content] : before) {
        EXPECT_TRUE(after.contains(name) && after.at(name) == content) << name;
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

TEST(FaultTable, leavesOutOnlyTheAnswersThatNeverCome) {
    std::string leftOut;
    for (const auto& fault : tessel::gateway::faultDescriptions()) {
        if (std::ranges::none_of(kCases, [&](const Case& c) { return c.fault == fault.name; })) {
            leftOut += std::string(fault.name) + " ";
        }
    }
    EXPECT_EQ(leftOut, "silent archive-silent ");
}

}  // namespace
}  // namespace nebrix::test
