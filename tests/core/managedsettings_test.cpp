// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/managedsettings.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "libs/base/file.h"
#include "tests/core/drivertest.h"

namespace tessel::test {
namespace {

constexpr char kWhole[] =
    "<nebrixclient><!-- by us --><certificates><exceptions> refuse </exceptions><cafile>/ca.pem</cafile>"
    "<clientcertificate>/me.pem</clientcertificate></certificates><components><older>refuse</older></components>"
    "<proxy><type>socks5</type><host>proxy.example:1081</host></proxy></nebrixclient>\n";

class ManagedSettingsTest : public DriverTest {
protected:
    [[nodiscard]] ManagedFile file(const std::string& text) const {
        return {String::copy(m_directory.write("nebrixclient.xml", text)), ::geteuid()};
    }
    [[nodiscard]] static std::string refusal(const ManagedFile& file) {
        try {
            return ManagedSettings::read(file).path.empty() ? "nothing" : "";
        } catch (const ESettingsFile& caught) {
            EXPECT_EQ(caught.facts().subject, file.path);
            return std::string(caught.facts().words.view());
        }
    }

    void serveWith(const std::string& text) {
        serve();
        m_client = std::make_unique<NebrixClient>(m_notify, String::copy(m_home.data("log")), file(text));
        m_client->setAccountListener(&m_notify);
    }

    nebrix::test::TemporaryDirectory m_directory;
};

TEST_F(ManagedSettingsTest, aFileThatIsCutOrSaysWhatIsNotUnderstoodIsRefused) {
    EXPECT_EQ(refusal({"/none/at/all", 0}), "nothing");
    const std::string whole = kWhole;
    for (std::size_t length = 0; length + 1 < whole.size(); ++length) {
        EXPECT_FALSE(refusal(file(whole.substr(0, length))).empty()) << length;
    }
    const std::pair<const char*, const char*> cases[] = {
        {"<nebrixclient/>", ""},
        {"\xEF\xBB\xBF<?xml version='1.0'?>\n<!-- a --> <nebrixclient/>\n<!-- b -->\n<!-- c -->\n", ""},
        {"<?xml version='1.0'?>\nx<nebrixclient/>", "in front of"},
        {"<nebrixclient/><!-- b --><nebrixclient/>", "line 1: nothing belongs"},
        {"<other/>", "must hold everything"},
        {"<nebrixclient/>\nx", "line 2: nothing belongs"},
        {"<nebrixclient>x</nebrixclient>", "has text"},
        {"<nebrixclient>\n<proxy>\n<type>none</type>\n</nebrixclient>", "line 2: \"proxy\" has no end"},
        {"<nebrixclient><proxy></nebrixclient></proxy>", "damaged"},
        {"<nebrixclient><certificates><exception>refuse</exception></certificates></nebrixclient>", "unknown"},
        {"<nebrixclient><certificates><exceptions>refused</exceptions></certificates></nebrixclient>", "must be"},
        {"<nebrixclient><certificates><cafile>ca.pem</cafile></certificates></nebrixclient>", "an absolute path"},
        {"<nebrixclient><certificates><clientkey>/k</clientkey></certificates></nebrixclient>", "of no use"},
        {"<nebrixclient><proxy><type>none</type></proxy></nebrixclient>", ""},
        {"<nebrixclient><proxy><type>http</type></proxy></nebrixclient>", "both a type and a host"},
        {"<nebrixclient><proxy><host>p:1</host></proxy></nebrixclient>", "both a type and a host"},
        {"<nebrixclient><proxy><type>http</type><host>p</host></proxy></nebrixclient>", "and its port"},
        {"<?xml version='1.0'?><nebrixclient><proxy><type><!-- as told -->none</type></proxy></nebrixclient>", ""},
        {"<nebrixclient><proxy><type>http<!-- no more -->none</type></proxy></nebrixclient>", "damaged"},
        {"<nebrixclient><proxy><type>http<?xml?>none</type></proxy></nebrixclient>", "damaged"},
        {"<nebrixclient><!--<proxy><type>none</type></proxy></nebrixclient>", "damaged"},
        {"<nebrixclient><proxy><type>none<x/></type></proxy></nebrixclient>", "more than its value"},
        {"<nebrixclient><proxy><type at='home'>none</type></proxy></nebrixclient>", "attribute"},
        {"<nebrixclient on='1'/>", "attribute"},
        {"<nebrixclient><proxy><type>http</type><host>me:pw@p:1</host></proxy></nebrixclient>", "and its port"},
        {"<nebrixclient><proxy><type>none</type><type>none</type></proxy></nebrixclient>", "twice"}};
    for (const auto& [text, words] : cases) {
        const std::string said = refusal(file(text));
        EXPECT_EQ(said.empty(), *words == '\0') << text << said;
        EXPECT_NE(said.find(words), std::string::npos) << text << said;
    }
    EXPECT_NE(refusal(file(std::string(ManagedSettings::kLongest, ' ') + kWhole)).find("longer"), std::string::npos);
}

TEST_F(ManagedSettingsTest, onlyItsOwnerMayHaveWrittenIt) {
    const ManagedFile good = file(kWhole);
    const char* const directory = m_directory.path().c_str();
    EXPECT_EQ(refusal(good), "");
    EXPECT_NE(refusal({good.path, good.owner + 1}).find("another user"), std::string::npos);
    for (const auto& [path, mode] : {std::pair(good.path.str(), 0666), {good.path.str(), 0664}, {directory, 0777}}) {
        ::chmod(path, static_cast<mode_t>(mode));
        EXPECT_NE(refusal(good).find("others than its owner"), std::string::npos) << path << mode;
        ::chmod(path, 0700);
    }
    ::chmod(directory, 0777);
    EXPECT_NE(refusal({good.path + "-gone", good.owner}), "nothing") << "whoever may write there may have removed it";
    ::chmod(directory, 0700);
    ASSERT_EQ(::symlink(good.path.str(), m_directory.path("link").c_str()), 0);
    EXPECT_NE(refusal({String::copy(m_directory.path("link")), good.owner}).find("ordinary"), std::string::npos);
}

TEST_F(ManagedSettingsTest, goesBeforeTheUsersOwnAndIsNeverSaved) {
    const String own = String::copy(m_directory.path("own.xml"));
    ClientLocalConfiguration configuration;
    configuration.setManaged(ManagedSettings::read(file(kWhole)));
    const std::string text =
        "<nebrixclient><sslcertignoredomains><domains>gw</domains></sslcertignoredomains><certificates><cafile>mine"
        "</cafile><clientcertificate>my.pem</clientcertificate><clientkey>my.key</clientkey></certificates>"
        "</nebrixclient>";
    m_directory.write("own.xml", text);
    configuration.readFromFile(own);
    configuration.setTlsFiles({"given", "given.pem", "given.key", ""});
    NebrixClientCurlSession session(configuration);
    EXPECT_TRUE(session.serverCheck("https://gw/").certificate);
    configuration.trust("other", "00", 1);
    EXPECT_TRUE(session.verifySSL("https://gw/"));
    EXPECT_TRUE(configuration.getRefuseOlder());
    EXPECT_EQ(configuration.getTlsFiles(), (TlsFiles{"/ca.pem", "/me.pem", "", ""}));
    ::setenv("https_proxy", "http://127.0.0.1:9", 1);
    EXPECT_EQ(session.routes("https://gw/").size(), 1U) << "whatever the environment says";
    ::unsetenv("https_proxy");
    EXPECT_EQ(session.routes("https://gw/").front().shown(), "socks5 proxy.example:1081");
    configuration.saveChanges(own);
    ClientLocalConfiguration again;
    again.readFromFile(own);
    EXPECT_EQ(again.getTlsFiles(), (TlsFiles{"mine", "my.pem", "my.key", ""}));
    EXPECT_EQ(again.getSslCertIgnoreDomains(), List<String>{"gw"});
    EXPECT_FALSE(again.getRefuseOlder());
}

TEST_F(ManagedSettingsTest, aFileThatCannotBeUsedEndsEveryAttemptBeforeAnythingIsSent) {
    serveWith("<nebrix");
    const Lines lines = run(ComponentType::PluginDllNoTunnel);
    EXPECT_NE(std::ranges::find(lines, "end settings"), lines.end());
    EXPECT_FALSE(m_gateway->requests().waitFor("/mediation/", 1, std::chrono::seconds(0)));
}

TEST_F(ManagedSettingsTest, itsProxyIsTakenAndToldToThePlugin) {
    serveWith("<nebrixclient><proxy><type>http</type><host>127.0.0.1:9</host></proxy></nebrixclient>");
    EXPECT_EQ(m_client->currentProxy().getTypeString(), "none");
    run(ComponentType::PluginDll);
    EXPECT_EQ(m_client->account().end().cause, EndCause::Proxy);
    NebrixClientCurlSession& session = m_client->downloadManager().session();
    session.took(link(ComponentType::PluginDll), session.routes("https://gw/").front());
    EXPECT_EQ(m_client->currentProxy().getTypeString(), "https");
    EXPECT_EQ(m_client->currentProxy().getHost(), "127.0.0.1:9");
}

}  // namespace
}  // namespace tessel::test
