// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrix-sign/check/contract.h"

namespace tessel::sign {

namespace {

constexpr RuleText kRules[] = {
    {"1a", "keeps nothing that belongs to a thread from one session to the next", kAll, Rule::AnyThread},
    {"1b", "returns from every entry in time", kAll, Rule::InTime},
    {"2", "asks properly for downloads and copes with what becomes of them", kPlugins, Rule::Download},
    {"3a", "returns UTF-8", kPlugins, Rule::Utf8},
    {"3b", "takes any bytes", kAll, Rule::AnyBytes},
    {"4", "copies of the client's strings what it keeps", kAll, Rule::ClientStrings},
    {"5a", "returns strings that DllReleaseStr takes back", kPlugins, Rule::OwnStrings},
    {"5b", "takes a null pointer in DllReleaseStr", kPlugins, Rule::ReleaseNull},
    {"6a", "keeps its answer until it is asked again", kHostChecker, Rule::LastingRules},
    {"6b", "answers with 1 MiB at most", kHostChecker, Rule::BoundedRules},
    {"8", "has all required entries", kAll, Rule::Entries},
    {"9", "serves a second session in the same process", kAll, Rule::NextSession},
    {"10a", "lets no exception out of an entry", kAll, Rule::NoException},
    {"10b", "does not end the process", kAll, Rule::NoEnd},
    {"10c", "leaves the working directory and the file mode mask alone", kAll, Rule::Directory},
    {"10d", "leaves the locale alone", kAll, Rule::Locale},
    {"10e", "leaves signal handlers and mask alone", kAll, Rule::Signals},
    {"10f", "leaves the environment alone", kAll, Rule::Environment},
    {"10g", "leaves the standard streams alone", kAll, Rule::Streams},
    {"11", "loads from memory, with the system's libraries alone", kAll, Rule::Loading},
    {"12a", "keeps secrets out of its log", kTunnel, Rule::SecretInText},
    {"12b", "keeps secrets out of its status", kTunnel, Rule::SecretInStatus},
    {"12c", "keeps secrets out of file names", kTunnel, Rule::SecretInName},
    {"12d", "keeps secrets out of programs' arguments", kTunnel, Rule::SecretInArgument},
    {"13a", "starts and stops a hundred times", static_cast<Kinds>(kTunnel | kHostChecker), Rule::Again},
    {"13b", "can be stopped at any moment", static_cast<Kinds>(kTunnel | kHostChecker), Rule::StopAnyTime},
    {"13c", "leaves no threads or files open", static_cast<Kinds>(kTunnel | kHostChecker), Rule::NothingLeft},
    {"13d", "loses no memory", kAll, Rule::NoMemoryLeft},
    {"14a", "reports JSON arrays of objects", kTunnel, Rule::StatusList},
    {"14b", "reports messages with the members of their code", kTunnel, Rule::StatusMembers},
    {"14c", "reports 1 MiB at most", kTunnel, Rule::StatusLength},
};
static_assert(std::size(kRules) == static_cast<std::size_t>(Rule::Count));

constexpr Rule kOfSession[] = {Rule::InTime,           Rule::Utf8,         Rule::OwnStrings,     Rule::LastingRules,
                               Rule::BoundedRules,     Rule::Entries,      Rule::NoException,    Rule::NoEnd,
                               Rule::Directory,        Rule::Locale,       Rule::Signals,        Rule::Environment,
                               Rule::Streams,          Rule::SecretInText, Rule::SecretInStatus, Rule::SecretInName,
                               Rule::SecretInArgument, Rule::StatusList,   Rule::StatusMembers,  Rule::StatusLength};
constexpr Rule kOfLoading[] = {Rule::Loading};
constexpr Rule kOfNextSession[] = {Rule::NextSession};
constexpr Rule kOfAnyThread[] = {Rule::AnyThread};
constexpr Rule kOfAnyBytes[] = {Rule::AnyBytes};
constexpr Rule kOfClientStrings[] = {Rule::ClientStrings};
constexpr Rule kOfReleaseNull[] = {Rule::ReleaseNull};
constexpr Rule kOfAgain[] = {Rule::Again, Rule::NothingLeft};
constexpr Rule kOfStop[] = {Rule::StopAnyTime};

constexpr Step kSteps[] = {
    {"session", kAll, std::nullopt, false, kOfSession},
    {"loading", kAll, Rule::Loading, false, kOfLoading},
    {"next-session", kAll, Rule::NextSession, false, kOfNextSession},
    {"any-thread", kAll, Rule::AnyThread, true, kOfAnyThread},
    {"any-bytes", kAll, Rule::AnyBytes, true, kOfAnyBytes},
    {"client-strings", kAll, Rule::ClientStrings, false, kOfClientStrings},
    {"release-null", kPlugins, Rule::ReleaseNull, false, kOfReleaseNull},
    {"again", static_cast<Kinds>(kTunnel | kHostChecker), Rule::Again, false, kOfAgain},
    {"stop-any-time", static_cast<Kinds>(kTunnel | kHostChecker), Rule::StopAnyTime, true, kOfStop},
    // Whether there was something to check of downloads the probe says.
    {"downloads", kPlugins, Rule::Download, true, {}},
};

}  // namespace

std::span<const RuleText> ruleTexts() { return kRules; }

std::span<const Step> steps() { return kSteps; }

}  // namespace tessel::sign
