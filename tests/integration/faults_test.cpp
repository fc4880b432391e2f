#include <gtest/gtest.h>

#include <algorithm>

#include "tests/integration/session.h"

namespace nebrix::test {
namespace {

using tessel::gateway::faultNamed;

constexpr const char* kFatal = "fatal-error\n";
constexpr const char* kUnreachable = "connect-error: ";
constexpr const char* kOver = "status: session over\n";

/// A line of the log: label, "Class.method", text (see LogFile::count).
struct Logged {
    const char* label;
    const char* where;
    const char* text;
};

struct Case {
    const char* fault;
    int status;
    /// What standard output ends with.
    const char* lastLine;
    std::vector<Logged> log;
};

const Logged kSignatureMissing{"ERROR", "SignedDll.loadFromFile", "Missing signature file: *"};
const Logged kNotGenuine{"ERROR", "NebrixClient.main", "Bad component signature"};
const Logged kBadDll{"ERROR", "NebrixClient.verifyDllSignature", "Bad dll signature for *"};
const Logged kBadHash{"ERROR", "FileSignature.verify", "bad hash "};
const Logged kBadSignature{"ERROR", "FileSignature.verify", "bad signature"};
const Logged kNotJson{"TRACE", "Exception.catch", "EMediationResponse:client:59 -> client:160"};
const Logged kMissingInAnswer{"TRACE", "Exception.catch", "EMediationResponse:client:62 -> client:160"};
const Logged kNotDownloaded{"ERROR", "DownloadManager.downloadFileTo", "Error while downloding '*"};

const Case kCases[] = {
    // Of the mediation.
    {"refusal", 1, kFatal, {{"ERROR", "NebrixClient.main", "the demonstration refuses"}}},
    {"status-500", 0, kOver, {{"ERROR", "NebrixClient.main", "mediation response is HTTP.500"}}},
    {"status-404", 1, kFatal, {{"ERROR", "NebrixClient.main", "mediation response is HTTP.404"}, kNotJson}},
    {"redirect", 1, kFatal, {{"ERROR", "NebrixClient.main", "mediation response is HTTP.302"}, kNotJson}},
    {"not-json", 1, kFatal, {{"ERROR", "JSONWrapperFromString:", "unable to parse json !"}, kNotJson}},
    {"deep-json", 1, kFatal, {kNotJson}},
    {"oversize", 3, kUnreachable, {{"ERROR", "CurlEasyWrapper.request", "Body is longer than the limit of *"}}},
    {"missing-success", 1, kFatal, {{"ERROR", "ConfReadHelper.readKey", "Missing tag: <success>"}, kMissingInAnswer}},
    {"missing-result", 1, kFatal, {kMissingInAnswer}},
    {"missing-key",
     1,
     kFatal,
     {{"ERROR", "ConfReadHelper.readKey", "Missing tag: <responseurl>"},
      {"TRACE", "Exception.catch", "EConfMissingKey:confhelper:192 -> client:160"}}},
    {"unknown-type",
     1,
     kFatal,
     {{"ERROR", "ClientConfiguration.load", "Unknown configuration type: unknown"},
      {"TRACE", "Exception.catch", "EClientConfiguration:clientconfiguration:90 -> client:160"}}},
    {"missing-platform",
     1,
     kFatal,
     {{"ERROR", "ConfHelper.OptionalConf", "Using missing configuration: \"linux64_openssl3\""}}},
    {"slow", 0, kOver, {}},

    // Of the archive.
    {"bad-filename", 1, kFatal, {{"ERROR", "*", "*filename*"}}},
    {"bad-pattern", 1, kFatal, {{"ERROR", "*", "*pattern*"}}},
    {"bad-md5", 1, kFatal, {{"ERROR", "*", "*md5*"}}},
    {"archive-404", 1, kFatal, {kNotDownloaded, kSignatureMissing, kNotGenuine}},
    {"archive-cut",
     1,
     kFatal,
     {{"ERROR", "CurlEasyWrapper.request", "*"}, kNotDownloaded, kSignatureMissing, kNotGenuine}},
    {"archive-damaged", 1, kFatal, {kSignatureMissing, kNotGenuine}},
    {"archive-symlink", 1, kFatal, {kSignatureMissing, kNotGenuine}},
    {"archive-escape", 1, kFatal, {kSignatureMissing, kNotGenuine}},
    {"missing-signature", 1, kFatal, {kSignatureMissing, kNotGenuine}},
    {"missing-library", 1, kFatal, {{"TRACE", "Exception.catch", "EFile:*"}}},
    {"wrong-md5", 0, kOver, {}},

    // Of the signature.
    {"wrong-signature", 1, kFatal, {kBadSignature, kBadDll, kNotGenuine}},
    {"foreign-key", 1, kFatal, {kBadSignature, kBadDll, kNotGenuine}},
    {"edited-version", 1, kFatal, {kBadSignature, kBadDll, kNotGenuine}},
    {"edited-name", 1, kFatal, {kBadSignature, kBadDll, kNotGenuine}},
    {"edited-date", 1, kFatal, {kBadSignature, kBadDll, kNotGenuine}},
    {"edited-digest", 1, kFatal, {kBadHash, kBadDll, kNotGenuine}},
    {"edited-library", 1, kFatal, {kBadHash, kBadDll, kNotGenuine}},
    {"no-signature-key",
     1,
     kFatal,
     {{"ERROR", "SignedDll.loadFromFile", "Error while parsing signature"}, kNotGenuine}},

    // Of the host check.
    {"bad-post-answer", 0, kOver, {{"ERROR", "NebrixClientHostchecker.run", "Bad response from mediation"}}},
    {"post-refusal", 0, kOver, {{"ERROR", "NebrixClientHostchecker.main", "the demonstration refuses the host check"}}},
};

std::string lastLine(const std::string& text) {
    const auto from = text.rfind('\n', text.size() - std::min<std::size_t>(text.size(), 2));
    return text.substr(from == std::string::npos ? 0 : from + 1);
}

/// A session of the host checker with one fault, beside the good files of an earlier session.
class Faults : public testing::TestWithParam<Case> {
protected:
    void SetUp() override {
        const Finished earlier = m_session.run(ComponentType::Hostchecker);
        ASSERT_EQ(earlier.status, 0) << earlier.output << earlier.errors << Session::log().text();
        ASSERT_TRUE(m_session.loaded());
        m_before = m_session.files();
        m_session.clearMarks();

        GatewayOptions options = recordingComponents();
        options.version = "2.0.0";  // so that the earlier session's archive is not the one
        options.faults.add(faultNamed(GetParam().fault).value());
        options.pause = std::chrono::milliseconds(5);
        m_session.replaceGateway(options);
        m_before.erase("nebrixclient.xml");
    }

    Session m_session;
    std::map<std::string, std::string> m_before;
};

TEST_P(Faults, endInTheRightMessageAndHarmNothing) {
    const Case& expected = GetParam();
    const Finished run = m_session.run(ComponentType::Hostchecker);
    const LogFile log = Session::log();
    EXPECT_EQ(run.status, expected.status) << run.errors;
    EXPECT_TRUE(lastLine(run.output).starts_with(expected.lastLine)) << run.output;
    for (const Logged& line : expected.log) {
        EXPECT_GE(log.count(line.label, line.where, line.text), 1U) << line.text << "\nin\n" << log.text();
    }
    EXPECT_EQ(m_session.loaded(), expected.status == 0);
    EXPECT_EQ(run.errors.empty(), expected.status == 0) << run.errors;

    const std::map<std::string, std::string> after = m_session.files();
    for (const auto& [name, content] : m_before) {
        EXPECT_TRUE(after.contains(name) && after.at(name) == content) << name;
    }
    for (const char* escaped : {"escaped.txt", "escaped.zip", "escaped.so"}) {
        EXPECT_TRUE(m_session.filesNamed(escaped).empty());
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
