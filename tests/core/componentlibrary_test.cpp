// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>

#include "apps/component/hostcheckerdllinstance.h"
#include "apps/component/plugindllinstance.h"
#include "apps/nebrixclient/account.h"
#include "libs/base/log.h"
#include "libs/base/thread.h"
#include "tests/support/systemlogcapture.h"
#include "tests/support/temporarydirectory.h"

namespace tessel::test {
namespace {

String component(const std::string& name) {
    return String::copy(std::string(NEBRIX_TEST_COMPONENTS) + "/lib" + name + ".so");
}

/// Components write down every call.
class ComponentLibraryTest : public testing::Test {
protected:
    ComponentLibraryTest() { setenv("NEBRIX_TEST_CALLS", m_directory.path("calls").c_str(), 1); }

    [[nodiscard]] std::string calls() const { return nebrix::test::readFile(m_directory.path("calls")); }
    void forget() const { nebrix::test::writeFile(m_directory.path("calls"), ""); }

    nebrix::test::TemporaryDirectory m_directory;
    nebrix::test::SystemLogCapture m_log;
};

TEST_F(ComponentLibraryTest, givesTextsBackAndResultsOn) {
    PluginDllInstance plugin(component("test-plugin"), "2.1", "/dir/");
    forget();
    EXPECT_EQ(plugin.getLogs(), "log of the recorder");
    EXPECT_EQ(plugin.execute("a", "b", "-7"), -7);
    EXPECT_EQ(calls(), "DllGetLogs2\nDllReleaseStr\tlog of the recorder\nDllExecute2\ta\tb\t-7\n");
}

TEST_F(ComponentLibraryTest, optionalEntriesMayBeMissing) {
    PluginDllInstance plugin(component("test-plugin-no-optional"), "1", "/");
    EXPECT_TRUE(m_log.contains(
        "ERROR PluginDllInstance.PluginDllInstance LaunchSafeResource missing. LaunchSafeResource disabled"));
    EXPECT_TRUE(
        m_log.contains("DllAddSslServerCertificateName missing. SSL server certificate name verification disabled"));
    forget();
    EXPECT_EQ(plugin.LaunchSafeResource(1, "x", nullptr), 0);
    EXPECT_EQ(calls(), "DllSetDownloadDelegate2\tnull\n");
    PluginDllInstance::Parameters parameters;
    parameters.sslServerNames = {"one"};
    EXPECT_NO_THROW(plugin.configure(parameters));
}

TEST_F(ComponentLibraryTest, saysWhatItRefusesAndWhatThatMeansForTheSession) {
    const auto lacksThreads = [] { raise<EThread>("no thread", {"libs/x", 1}); };
    // What raises; the session's end in words; the log.
    const std::tuple<std::function<void()>, const char*, const char*> cases[] = {
        {[] { PluginDllInstance(component("test-plugin-no-release"), "1", "/"); },
         "the component lacks the entry DllReleaseStr: ",
         "ERROR ModuleLoader.ModuleLoader Unable to load \"DllReleaseStr\": "},
        {[] { PluginDllInstance(String("/nonexistent/liba.so"), "1", "/"); },
         "the component cannot be loaded: ", "Unable to load \"/nonexistent/liba.so\": "},
        {[] { PluginDllInstance(component("test-plugin-null-create"), "1", "/"); }, "the component gives no instance",
         "TRACE Exception.catch EPluginDllInstance:plugindllinstance:56 -> x:1"},
        {[] { HostCheckerDllInstance{component("test-hostchecker-no-rules")}; },
         "the component lacks the entry GetValidRules: ", "Unable to load \"GetValidRules\": "},
        {lacksThreads, "this machine gives the program too little: no thread", ""}};
    for (const auto& [fail, sentence, line] : cases) {
        try {
            fail();
            ADD_FAILURE() << sentence;
        } catch (const Exception& caught) {
            logCaught(caught, {"libs/x", 1});
            EXPECT_TRUE(describe(endOf(caught)).starts(sentence)) << describe(endOf(caught)).str();
        }
        EXPECT_TRUE(*line == '\0' || m_log.contains(line)) << line;
    }
    EXPECT_TRUE(m_log.contains("Unable to create dll instance !"));
}

TEST_F(ComponentLibraryTest, nullTextsCountAsEmpty) {
    EXPECT_EQ(PluginDllInstance(component("test-plugin-null-errors"), "1", "/").getErrors(), "");
    EXPECT_EQ(HostCheckerDllInstance(component("test-hostchecker-null-rules")).getValidRules("r"), "");
}

}  // namespace
}  // namespace tessel::test
