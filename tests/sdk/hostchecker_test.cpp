// SPDX-License-Identifier: Apache-2.0
#include <filesystem>

#include "tests/sdk/component.h"
#include "tests/support/temporarydirectory.h"

extern "C" {
#include "sdk/components/hostchecker/rules.h"
}

namespace nebrix::test {
namespace {

std::string evaluate(const std::string& root, const std::string& request) {
    nebrix_text answer = NEBRIX_TEXT_INIT(1 << 16);
    facts machine;
    facts_init(&machine, root.c_str());
    rules_evaluate(request.c_str(), &machine, &answer);
    facts_free(&machine);
    std::string text = nebrix_text_get(&answer);
    nebrix_text_free(&answer);
    return text;
}

TEST(HostCheckerVersion, ordersAsPackageManagersDo) {
    // Ascending.
    const std::vector<std::string> versions = split(
        "1.0~~ 1.0~~a 1.0~rc1 1.0 1.0-1 1.0-1+b1 1.0-1.1 1.0-10 1.0a 1.0+x 1.0-1-1 1.0.1 1.2 1.10 12 "
        "99999999999999999999 100000000000000000000 1:0.1 2:0",
        ' ');
    for (std::size_t i = 0; i < versions.size(); ++i) {
        for (std::size_t j = 0; j < versions.size(); ++j) {
            const int order = version_compare(versions[i].c_str(), versions[j].c_str());
            EXPECT_EQ((order > 0) - (order < 0), (i > j) - (i < j)) << versions[i] << " and " << versions[j];
        }
    }
    EXPECT_EQ(version_compare("01.010", "1.10"), 0);
}

class HostCheckerRules : public ::testing::Test {
protected:
    void SetUp() override {
        m_root.write("etc/os-release", "NAME=\"Some System\"\nVERSION_ID=\"12.4\"\nID='debian'\n");
        m_root.write("proc/sys/kernel/ostype", "Linux\n");
        m_root.write("proc/sys/kernel/osrelease", "6.1.0-13-amd64\n");
        m_root.write("proc/42/comm", "a-very-long-nam\n");
        m_root.write("proc/42/cmdline", std::string("/opt/a-very-long-name\0--flag", 28));
        m_root.write("proc/43/comm", "renamed\n");
        m_root.write("proc/43/cmdline", "titled: by /itself");
        std::filesystem::create_symlink("/usr/bin/updated (deleted)", m_root.path("proc/43/exe"));
        m_root.write("proc/self/comm", "not-a-number\n");
        m_root.write("var/lib/dpkg/status",
                     "Package: openssl\nStatus: install ok installed\nDescription: " + std::string(9000, 'x') +
                         "\n Package: inside\nVersion: 3.0.11-1\n\n"
                         "Package: removed\nStatus: deinstall ok config-files\nVersion: 1\n\n"
                         "Package: bare\nStatus: install ok installed\n\n"
                         "Package: last\nStatus: hold ok installed\nVersion: 1:2\n");
    }
    TemporaryDirectory m_root;
};

TEST_F(HostCheckerRules, judgeEachConditionOnItsFacts) {
    const auto expect = [&](const char* answer, const char* conditions) {
        for (const std::string& condition : split(conditions, ';'))
            EXPECT_EQ(evaluate(m_root.path(), "rule " + condition), answer) << condition;
    };
    expect("rule",
           "file /etc/os-release;file /etc;not file /etc/none;process a-very-long-nam;process a-very-long-name;"
           "process updated;os debian;os debian >= 12;kernel Linux > 5.10;package openssl >= 3.0.11-1;package bare;"
           "not package bare < 9;package last >= 5;not package removed");
    expect("",
           "file /etc/none;process itself;process not-a-number;os debian != 12.4;os fedora;kernel Linux < 6;"
           "package openssl > 3.0.11-1;package removed;package inside");
    // Unreadable ones never hold, negated or not.
    expect("",
           ";not;file;file etc/os-release;not file none;not not file /none;not sound beep;os debian >=;"
           "os debian => 12;not os debian < 12 or so");
}

TEST_F(HostCheckerRules, readWholeRequests) {
    const std::string is = " file /etc\n";
    const std::string isNot = " file /none\n";
    std::string many;
    for (int i = 0; i < 256; ++i)
        many += "rule" + is;
    const std::string id(64, 'i');
    const std::pair<std::string, std::string> cases[] = {
        {"", ""},
        {"# comment\r\n\n \t\r\nb file /etc\r\na\tfile   /etc \t", "b,a"},
        {"a" + is + "b" + isNot + "c" + is + "c" + isNot + "d" + is + "d beep\n" + "f" + isNot + "f" + is + "e" + is,
         "a,e"},
        {"a,b" + is + "a&b" + is + id + is + id + "i" + is + "a file /" + std::string(2000, 'x') + "\nb" + is,
         id + ",b"},
        {many, "rule"},
        {many + "rule" + is, ""},
        {"a" + is + "#" + std::string(65536 - 14, 'x') + "\n", "a"},
        {"a" + is + "#" + std::string(65536, 'x') + "\n", ""}};
    for (const auto& [request, answer] : cases)
        EXPECT_EQ(evaluate(m_root.path(), request), answer) << request.substr(0, 80);
    EXPECT_EQ(evaluate("/nonexistent", "a os debian\nb kernel Linux\nc package x\nd process x\ne not file /etc"), "e");
}

}  // namespace
}  // namespace nebrix::test
