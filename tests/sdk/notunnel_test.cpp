#include <sys/stat.h>

#include <chrono>
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
        m_plugin.entry<NebrixDllSetDownloadDelegate2>(NEBRIX_NAME_SET_DOWNLOAD_DELEGATE)(m_plugin.instance(), download);
    }
    int launch(int type, const std::string& name) const {
        return m_plugin.entry<NebrixLaunchSafeResource>(NEBRIX_NAME_LAUNCH_SAFE_RESOURCE)(m_plugin.instance(), type,
                                                                                          name.c_str());
    }

    TemporaryDirectory m_directory;
    Plugin m_plugin{"notunnel"};
};

TEST_F(NoTunnel, FetchesAFileForItsOwnerAlone) {
    EXPECT_EQ(launch(1, "plan 100%.txt"), 1);
    EXPECT_EQ(g_url, "/resources/plan%20100%25.txt");
    const std::string path = m_directory.path("Resources/plan 100%.txt");
    struct stat info = {};
    ASSERT_EQ(::stat(path.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600U);
    g_cut = true;
    EXPECT_EQ(launch(1, "plan 100%.txt"), -4);
    EXPECT_EQ(readFile(path), "whole") << "a failed transfer must not touch the earlier file";
    EXPECT_EQ(m_plugin.poll(), std::vector<std::string>{});
    EXPECT_NE(m_plugin.text(NEBRIX_NAME_GET_LOGS).find("cannot fetch /resources/"), std::string::npos);
}

TEST_F(NoTunnel, RefusesWhatItDoesNotKnow) {
    const struct {
        int type;
        std::string name;
        int expected;
    } cases[] = {{0, "a", -1},       {2, "a", -1},    {1, "", -2},
                 {1, "../a", -2},    {1, "a/b", -2},  {1, "a\\b", -2},
                 {1, ".hidden", -2}, {1, "a\nb", -2}, {1, std::string(256, 'a'), -2}};
    g_url.clear();
    for (const auto& c : cases)
        EXPECT_EQ(launch(c.type, c.name), c.expected) << c.type << " " << c.name;
    m_plugin.entry<NebrixDllSetDownloadDelegate2>(NEBRIX_NAME_SET_DOWNLOAD_DELEGATE)(m_plugin.instance(), nullptr);
    EXPECT_EQ(launch(1, "a"), -3);
    EXPECT_EQ(g_url, "") << "nothing may be fetched";
}

TEST_F(NoTunnel, StartsTheNamedViewerOnly) {
    const std::string seen = m_directory.path("seen");
    const std::string viewer =
        m_directory.write("viewer", "#!/bin/sh\ncat \"$1\" >" + seen + ".new && mv " + seen + ".new " + seen + "\n");
    std::filesystem::permissions(viewer, std::filesystem::perms::owner_all);
    ::setenv("NEBRIX_RESOURCE_VIEWER", viewer.c_str(), 1);
    EXPECT_EQ(launch(1, "it's $(a) file"), 2);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!std::filesystem::exists(seen) && std::chrono::steady_clock::now() < deadline)
        std::this_thread::yield();
    EXPECT_EQ(readFile(seen), "whole");
    for (const char* unusable : {"viewer", "/nonexistent/viewer"}) {
        ::setenv("NEBRIX_RESOURCE_VIEWER", unusable, 1);
        EXPECT_EQ(launch(1, "a"), -5) << unusable;
    }
}

}  // namespace
}  // namespace nebrix::test
