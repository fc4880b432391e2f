#include "libs/base/zip.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <thread>
#include <tuple>
#include <vector>

#include "apps/nebrix-sign/storedarchive.h"
#include "libs/base/platform.h"
#include "tests/support/systemlogcapture.h"
#include "tests/support/temporarydirectory.h"

namespace tessel::zlib {
namespace {

using nebrix::test::readFile;
using nebrix::test::SystemLogCapture;
using nebrix::test::TemporaryDirectory;

struct Entry {
    const char* name;
    std::string content;
    /// What makes a file something else when it stands in its mode.
    unsigned kind = 0;
};

std::string archive(const std::vector<Entry>& entries) {
    sign::StoredArchive made;
    for (const Entry& entry : entries) {
        made.addFile(entry.name, entry.content, entry.kind | 0644);
    }
    return made.bytes();
}

class ZipTest : public ::testing::Test {
protected:
    ZipTest() { directory.write("target/old", "old"); }

    bool unzip(const std::string& content, const char* target = "target", const char* name = "a.zip") {
        directory.write(name, content);
        return Zip::unzip(String::copy(directory.path(name)), String::copy(directory.path(target)), {100, 3});
    }
    std::string tree() const { return nebrix::test::listTree(directory.path()); }

    SystemLogCapture log;
    TemporaryDirectory directory;
};

TEST_F(ZipTest, theResultTakesTheTargetsPlace) {
    for (const char* target : {"target", "new/deep/"}) {
        ASSERT_TRUE(unzip(archive({{"lib.so", "code"}, {"sub/", ""}, {"sub/x.sig", "sig"}}), target));
    }
    EXPECT_EQ(readFile(directory.path("target/lib.so")) + readFile(directory.path("target/sub/x.sig")), "codesig");
    EXPECT_EQ(tree(),
              "a.zip\nnew/\nnew/deep/\nnew/deep/lib.so\nnew/deep/sub/\nnew/deep/sub/x.sig\n"
              "target/\ntarget/lib.so\ntarget/sub/\ntarget/sub/x.sig\n");
}

TEST_F(ZipTest, whatIsRefusedLeavesTheTargetAsItWas) {
    const std::string good = archive({{"good", "content"}});
    std::string overlong = good;
    overlong[good.size() - 10] = '\x7f';
    std::string lying = archive({{"a", std::string(3000, 'a')}});
    for (const std::size_t length : {std::size_t{22}, lying.find("PK\x01\x02") + 24}) {
        lying.replace(length, 2, "\x0a\0", 2);
    }
    const std::tuple<const char*, std::string, const char*> rows[] = {
        {"empty", "", "the file is no archive"},
        {"text", std::string(100'000, 'x'), "the file is no archive"},
        {"cut", good.substr(0, good.size() - 1), "the file is no archive"},
        {"foreign directory", overlong, "the archive's directory is not sound"},
        {"parent", archive({{"../evil", "x"}}), "an entry's name leaves the directory"},
        {"inner parent", archive({{"a/../../evil", "x"}}), "an entry's name leaves the directory"},
        {"absolute", archive({{"/tmp/evil", "x"}}), "an entry's name is not allowed"},
        {"backslash", archive({{"a\\b", "x"}}), "an entry's name is not allowed"},
        {"control", archive({{"a\nb", "x"}}), "an entry's name is not allowed"},
        {"no name", archive({{"", "x"}}), "an entry's name is not allowed"},
        {"symbolic link", archive({{"link", "/etc", S_IFLNK}}), "an entry is a symbolic link"},
        {"pipe", archive({{"pipe", "", S_IFIFO}}), "an entry is neither file nor directory"},
        {"many", archive({{"a", ""}, {"b", ""}, {"c", ""}, {"d", ""}}), "too many entries"},
        {"large", archive({{"a", std::string(60, 'a')}, {"b", std::string(60, 'b')}}), "too many bytes"},
        {"lying", lying, "unzip failed"},
    };
    for (const auto& [what, content, reason] : rows) {
        log.clear();
        EXPECT_FALSE(unzip(content)) << what;
        EXPECT_TRUE(log.contains("ERROR Zip.unzip cannot unpack '" + directory.path("a.zip") + "': " + reason)) << what;
        EXPECT_EQ(tree(), "a.zip\ntarget/\ntarget/old\n") << what;
    }
    EXPECT_FALSE(unzip(good, "target", "it's.zip")) << "a quote would end the shell's word";
    EXPECT_FALSE(unzip(good, "it's"));
}

TEST_F(ZipTest, aLinkInTheTargetsPlaceIsReplacedAndNotFollowed) {
    directory.write("elsewhere/kept", "kept");
    ASSERT_EQ(::symlink(directory.path("elsewhere").c_str(), directory.path("link").c_str()), 0);
    EXPECT_TRUE(unzip(archive({{"kept", "evil"}}), "link"));
    EXPECT_EQ(readFile(directory.path("elsewhere/kept")), "kept");
    EXPECT_EQ(readFile(directory.path("link/kept")), "evil");
}

TEST_F(ZipTest, leftoversOfAKilledUnpackingGoButNotWhatIsInWork) {
    directory.write("target.unpacking-dead/x", "");
    directory.write("target.unpacking-busy/x", "");
    const int busy = ::open(directory.path("target.unpacking-busy").c_str(), O_RDONLY);
    ASSERT_EQ(::flock(busy, LOCK_EX), 0);
    EXPECT_TRUE(unzip(archive({{"good", "content"}})));
    EXPECT_EQ(tree(), "a.zip\ntarget.unpacking-busy/\ntarget.unpacking-busy/x\ntarget/\ntarget/good\n");
    ::close(busy);
}

TEST(Platform, theShellGetsNothingButItsCommand) {
    const TemporaryDirectory directory;
    const std::string out = directory.path("out");
    const int leaked = ::open("/dev/null", O_RDONLY);
    ::setenv("UNZIP", "-x", 1);
    const String command =
        String::copy("{ ls /proc/self/fd | tr '\\n' ' '; echo \"${UNZIP-none}\"; ps -o tty= $$; } > " + out);
    EXPECT_EQ(platform::runShell(command, 1U << 20U), 0);
    ::unsetenv("UNZIP");
    ::close(leaked);
    EXPECT_EQ(readFile(out).substr(0, 14), "0 1 2 3 none\n?");
    EXPECT_EQ(platform::runShell("exit 7", 0), 7);
    EXPECT_EQ(platform::runShell("kill -9 $$", 0), -1);
    EXPECT_NE(platform::runShell(String::copy("head -c 5000 /dev/zero > " + out), 1024), 0);
    EXPECT_EQ(readFile(out).size(), 1024U);
}

TEST(Platform, aShellThatIsCancelledIsGoneWithWhatItStarted) {
    const TemporaryDirectory directory;
    const std::string began = directory.path("began");
    std::atomic<bool> cancelled{false};
    std::thread canceller([&] {
        while (!std::filesystem::exists(began)) {
            std::this_thread::yield();
        }
        cancelled = true;
    });
    const String command = String::copy("mkfifo '" + directory.path("pipe") + "'; touch '" + began + "'; cat '" +
                                        directory.path("pipe") + "'; touch '" + directory.path("after") + "'");
    EXPECT_EQ(platform::runShell(command, 0, &cancelled), -1);
    canceller.join();
    EXPECT_FALSE(std::filesystem::exists(directory.path("after")));
}

}  // namespace
}  // namespace tessel::zlib
