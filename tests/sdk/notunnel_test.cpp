// SPDX-License-Identifier: Apache-2.0
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "tests/sdk/component.h"
#include "tests/support/temporarydirectory.h"

namespace nebrix::test {
namespace {

std::string g_url;
bool g_cut = false;

// Leaves half a file behind when the transfer is to fail, as the client's callback may.
bool download(const char* url, const char* path) {
    g_url = url;
    writeFile(path, g_cut ? "ha" : "whole");
    return !g_cut;
}

class NoTunnel : public ::testing::Test {
protected:
    void SetUp() override {
        g_cut = false;
        ::unsetenv("NEBRIX_RESOURCE_VIEWER");
        m_plugin.set(NEBRIX_NAME_SET_PLUGIN_DIR, m_directory.path() + "/");
        m_setDownload(m_plugin.instance(), download);
    }
    int launch(int type, const std::string& name) const {
        const auto entry = m_plugin.entry<NebrixLaunchSafeResource>(NEBRIX_NAME_LAUNCH_SAFE_RESOURCE);
        return entry(m_plugin.instance(), type, name.c_str());
    }

    TemporaryDirectory m_directory;
    Plugin m_plugin{NEBRIX_COMPONENTS "/libnebrix-notunnel.so"};
    NebrixDllSetDownloadDelegate2 m_setDownload =
        m_plugin.entry<NebrixDllSetDownloadDelegate2>(NEBRIX_NAME_SET_DOWNLOAD_DELEGATE);
};

TEST_F(NoTunnel, fetchesAFileForItsOwnerAlone) {
    EXPECT_EQ(launch(1, "plan 100%.txt"), 1);
    EXPECT_EQ(g_url, "/resources/plan%20100%25.txt");
    const std::string path = m_directory.path("Resources/plan 100%.txt");
    EXPECT_EQ(static_cast<unsigned>(std::filesystem::status(path).permissions()), 0600U);
    g_cut = true;
    EXPECT_EQ(launch(1, "plan 100%.txt"), -4);
    EXPECT_EQ(readFile(path), "whole") << "a failed transfer must not touch the earlier file";
    EXPECT_EQ(listTree(m_directory.path()), "Resources/\nResources/plan 100%.txt\n");
    EXPECT_EQ(m_plugin.poll(), std::vector<std::string>{});
    EXPECT_NE(m_plugin.text(NEBRIX_NAME_GET_LOGS).find("cannot fetch /resources/"), std::string::npos);
}

TEST_F(NoTunnel, refusesWhatItDoesNotKnow) {
    g_url.clear();
    EXPECT_EQ(launch(0, "a"), -1);
    EXPECT_EQ(launch(2, "a"), -1);
    for (const std::string& name : split(";../a;a/b;a\\b;.hidden;a\nb;" + std::string(256, 'a'), ';'))
        EXPECT_EQ(launch(1, name), -2) << name;
    m_setDownload(m_plugin.instance(), nullptr);
    EXPECT_EQ(launch(1, "a"), -3);
    EXPECT_EQ(g_url, "") << "nothing may be fetched";
}

TEST_F(NoTunnel, startsTheNamedViewerOnly) {
    const std::string seen = m_directory.path("seen");
    const std::string viewer =
        m_directory.write("viewer", "#!/bin/sh\ncat \"$1\" >" + seen + ".new && mv " + seen + ".new " + seen + "\n");
    std::filesystem::permissions(viewer, std::filesystem::perms::owner_all);
    ::setenv("NEBRIX_RESOURCE_VIEWER", viewer.c_str(), 1);
    EXPECT_EQ(launch(1, "it's $(a) file"), 2);
    while (!std::filesystem::exists(seen))
        std::this_thread::yield();
    EXPECT_EQ(readFile(seen), "whole");
    for (const char* unusable : {"viewer", "/nonexistent/viewer"}) {
        ::setenv("NEBRIX_RESOURCE_VIEWER", unusable, 1);
        EXPECT_EQ(launch(1, "a"), -5) << unusable;
    }
}

}  // namespace
}  // namespace nebrix::test
