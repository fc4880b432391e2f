// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <memory>

#include "apps/nebrix-component-host/confinement.h"
#include "libs/json/jsonwrapper.h"
#include "tests/support/childprocess.h"

namespace nebrix::test {
namespace {

using tessel::String;

constexpr const char* kProgram = NEBRIX_TEST_BIN "/nebrix-sign";
const std::string kReference = NEBRIX_COMPONENTS "/libnebrix-";
const std::string kZoo = NEBRIX_TEST_COMPONENTS "/lib";

/// A component and what it does wrong: the zoo's own name for it, which begins with the number of the broken rule.
struct Wrong {
    std::string path;
    std::string fault;
    /// What the sentence says of it.
    const char* says = "";
    /// Where another library than the zoo does it.
    const char* habit = "";
};

const Wrong kCases[] = {
    {kReference + "tunnel.so", ""},
    {kReference + "tunnel-simulated.so", ""},
    {kReference + "notunnel.so", ""},
    {kReference + "hostchecker.so", ""},
    {kZoo + "zoo-plugin.so", ""},
    {kZoo + "zoo-plugin.so", "1a", "in a second session, on another thread"},
    {kZoo + "zoo-plugin.so", "1b", "DllStart2 did not return within 3 seconds"},
    {kZoo + "zoo-plugin.so", "2", "\"relative/path\""},
    {kZoo + "zoo-plugin.so", "3a", "caf\\xe9"},
    {kZoo + "zoo-plugin.so", "3b", "DllSetServer2 ended the process"},
    {kZoo + "zoo-plugin.so", "4", "DllStart2 ended the process"},
    {kZoo + "zoo-plugin.so", "5a", "DllReleaseStr ended the process"},
    {kZoo + "zoo-plugin.so", "5b", "a null pointer"},
    {kZoo + "zoo-hostchecker.so", ""},
    {kZoo + "zoo-hostchecker.so", "6a", "changed"},
    {kZoo + "zoo-hostchecker.so", "6b", "1 MiB"},
    {kZoo + "test-plugin-no-release.so", "8", "required entries: DllReleaseStr"},
    {kZoo + "zoo-plugin.so", "9", "in the second session"},
    {kZoo + "test-zoo.so", "10a", "DllStart2 let an exception out: \"of the zoo\"", "DllStart2=throw"},
    {kZoo + "zoo-plugin.so", "10b", "DllStart2 ended the process with status 0"},
    {kZoo + "zoo-plugin.so", "10c cwd", "in DllStart2 the working directory"},
    {kZoo + "zoo-plugin.so", "10c umask", "the file mode mask"},
    {kZoo + "zoo-plugin.so", "10d", "C.UTF-8"},
    {kZoo + "zoo-plugin.so", "10e handler", "\"SIGCHLD\""},
    {kZoo + "zoo-hostchecker.so", "10e mask", "in InitHostCheckerDll the signal mask"},
    {kZoo + "zoo-plugin.so", "10f", "\"ZOO_SECRET\""},
    {kZoo + "zoo-plugin.so", "10g write", "\"from the zoo\""},
    {kZoo + "zoo-plugin.so", "10g close", "\"standard input\""},
    {kZoo + "test-hostchecker-neighbour.so", "11", "libtest-neighbour.so"},
    {kZoo + "zoo-undefined.so", "11", "nowhere"},
    {kZoo + "zoo-plugin.so", "12a", "the ticket"},
    {kZoo + "zoo-plugin.so", "12b", "the ticket"},
    {kZoo + "zoo-plugin.so", "12c", "the ticket"},
    {kZoo + "zoo-plugin.so", "12d", "the ticket"},
    {kZoo + "zoo-plugin.so", "13a", "in start 50 of 100"},
    {kZoo + "zoo-plugin.so", "13b", "without having been started"},
    {kZoo + "zoo-plugin.so", "13c threads", "90 more threads"},
    {kZoo + "zoo-hostchecker.so", "13c files", "90 more files"},
    {kZoo + "zoo-plugin.so", "13d", "(zoo.c"},
    {kZoo + "zoo-plugin.so", "14a", "\"\""},
    {kZoo + "zoo-plugin.so", "14b", "decimal \"reason\""},
    {kZoo + "zoo-plugin.so", "14c", "1 MiB"},
};

/// The rules with this result, and their sentences.
std::map<std::string, std::string> rulesThat(const char* result, const std::string& document) {
    const tessel::json::JSONWrapperFromString report(String::copy(document));
    std::map<std::string, std::string> rules;
    for (const tessel::json::JSONWrapper& rule : report["rules"]) {
        if (rule["result"].asString() == result) {
            rules[rule["rule"].asString().str()] = rule["sentence"].asString().str();
        }
    }
    return rules;
}

std::unique_ptr<ChildProcess> startCheck(const Wrong& wrong) {
    std::vector<std::string> words{"env",
                                   "NEBRIX_ZOO=" + wrong.fault,
                                   std::string("NEBRIX_TEST_ZOO=") + wrong.habit,
                                   kProgram,
                                   "check",
                                   "--json",
                                   wrong.path};
    // A sanitizer's memory is none that valgrind could run with.
    if (tessel::kMemoryCanBeWatched && (wrong.fault.empty() || wrong.fault == "13d")) {
        words.insert(words.end() - 1, "--valgrind");
    }
    return std::make_unique<ChildProcess>(words);
}

void judge(const Wrong& wrong, const ChildProcess& check) {
    SCOPED_TRACE(wrong.path + " " + wrong.fault);
    const std::string rule = wrong.fault.substr(0, wrong.fault.find(' '));
    const bool blind = rule == "13d" && !tessel::kMemoryCanBeWatched;
    const auto status = check.wait(std::chrono::minutes(3));
    ASSERT_EQ(status, rule.empty() || blind ? 0 : 1) << check.output() << check.errors();
    const auto failed = rulesThat("failed", check.output());
    for (const auto& [number, sentence] : failed) {
        EXPECT_EQ(number, rule) << sentence;
        EXPECT_NE(sentence.find(wrong.says), std::string::npos) << sentence;
    }
    EXPECT_GE(rulesThat("ok", check.output()).size(), rule == "8" ? 0U : rule.empty() ? 18U : 1U);
}

// They wait more than they work.
TEST(Check, eachComponentFailsAtItsRuleAlone) {
    constexpr std::size_t kAtOnce = 14;
    for (std::size_t first = 0; first < std::size(kCases); first += kAtOnce) {
        std::vector<std::unique_ptr<ChildProcess>> checks;
        for (std::size_t i = first; i < std::min(first + kAtOnce, std::size(kCases)); ++i) {
            checks.push_back(startCheck(kCases[i]));
        }
        for (std::size_t i = 0; i < checks.size(); ++i) {
            judge(kCases[first + i], *checks[i]);
        }
    }
}

TEST(Check, givenValuesStandInThePlaceOfMadeUpOnes) {
    const TemporaryDirectory folder;
    const auto failed = [values = folder.path("values")](const std::string& fault, const std::string& lines) {
        std::ofstream(values) << lines;
        const std::string zoo = kZoo + "zoo-plugin.so";
        return rulesThat("failed",
                         runProgram({"env", fault, kProgram, "check", "--json", "--values", values, zoo}).output);
    };
    EXPECT_TRUE(failed("NEBRIX_ZOO=12a", "# of a real session\n\nticket=ticket-of-theirs\n").contains("12a"));
    EXPECT_TRUE(failed("NEBRIX_ZOO=12a", "ticket=ticket-\n").empty());  // too short to be looked for
    EXPECT_TRUE(failed("NEBRIX_ZOO=3b", "server=100% real\n").contains("10b"));
}

TEST(Check, whatCannotBeCheckedIsSaid) {
    const auto status = [](std::vector<std::string> words) {
        words.insert(words.begin(), {kProgram, "check"});
        return runProgram(words).status;
    };
    EXPECT_EQ(status({}), 2);
    EXPECT_EQ(status({"--type", "tunnel", kZoo + "zoo-plugin.so"}), 2);
    EXPECT_EQ(status({"/none.so"}), 3);
    EXPECT_EQ(status({kZoo + "test-neighbour.so"}), 3);
    EXPECT_EQ(status({"--values", "/etc/os-release", kZoo + "zoo-plugin.so"}), 3);
    const auto text = runProgram({kProgram, "check", "--type", "hostchecker", kZoo + "zoo-plugin.so"});
    EXPECT_EQ(text.status, 1);
    EXPECT_NE(text.output.find("\nfailed       8    has all required entries: "), std::string::npos) << text.output;
    EXPECT_NE(text.output.find("\nnot checked  10b  "), std::string::npos) << text.output;
}

}  // namespace
}  // namespace nebrix::test
