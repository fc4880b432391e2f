#include "libs/base/zip.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "libs/base/file.h"
#include "libs/base/platform.h"
#include "tests/support/childprocess.h"
#include "tests/support/systemlogcapture.h"
#include "tests/support/temporarydirectory.h"

namespace tessel::zlib {
namespace {

using nebrix::test::readFile;
using nebrix::test::SystemLogCapture;
using nebrix::test::TemporaryDirectory;

void number(std::string& bytes, std::uint64_t value, unsigned width) {
    for (unsigned i = 0; i < width; ++i) {
        bytes += static_cast<char>(value >> (8U * i));
    }
}

struct Entry {
    std::string name;
    std::string content;
    unsigned mode = S_IFREG | 0644;
    /// What the directory tells of the length, when it lies.
    int declared = -1;
};

/// An archive with stored entries; it may hold what no decent program would put in.
std::string archive(const std::vector<Entry>& entries) {
    std::string bytes;
    std::string directory;
    for (const Entry& entry : entries) {
        unsigned crc = 0xffffffff;
        for (const char c : entry.content) {
            crc ^= static_cast<unsigned char>(c);
            for (int bit = 0; bit < 8; ++bit) {
                crc = crc >> 1U ^ (0xedb88320U & (0U - (crc & 1U)));
            }
        }
        std::string common;
        number(common, 10, 2);
        number(common, 0, 8);
        number(common, ~crc, 4);
        number(common, static_cast<unsigned>(entry.content.size()), 4);
        number(
            common,
            entry.declared >= 0 ? static_cast<unsigned>(entry.declared) : static_cast<unsigned>(entry.content.size()),
            4);
        number(common, static_cast<unsigned>(entry.name.size()), 2);
        number(common, 0, 2);
        directory += "PK\x01\x02";
        number(directory, 3U << 8U | 10, 2);
        directory += common;
        number(directory, 0, 6);
        number(directory, entry.mode << 16U, 4);
        number(directory, static_cast<unsigned>(bytes.size()), 4);
        directory += entry.name;
        bytes += "PK\x03\x04" + common + entry.name + entry.content;
    }
    const auto start = static_cast<unsigned>(bytes.size());
    bytes += directory + "PK\x05\x06";
    number(bytes, 0, 4);
    number(bytes, static_cast<unsigned>(entries.size()), 2);
    number(bytes, static_cast<unsigned>(entries.size()), 2);
    number(bytes, static_cast<unsigned>(directory.size()), 4);
    number(bytes, start, 4);
    number(bytes, 0, 2);
    return bytes;
}

class ZipTest : public ::testing::Test {
protected:
    ZipTest() { directory.write("target/old", "old"); }

    bool unzip(const std::string& content, const UnpackLimits& limits = {}) {
        directory.write("a.zip", content);
        return Zip::unzip(String::copy(directory.path("a.zip")), String::copy(directory.path("target")), limits);
    }
    std::string tree() const { return nebrix::test::listTree(directory.path()); }

    SystemLogCapture log;
    TemporaryDirectory directory;
};

TEST_F(ZipTest, theResultTakesTheTargetsPlace) {
    ASSERT_TRUE(unzip(archive({{"lib.so", "code"}, {"sub/", "", S_IFDIR | 0755}, {"sub/x.sig", "signature"}})));
    EXPECT_EQ(readFile(directory.path("target/lib.so")), "code");
    EXPECT_EQ(readFile(directory.path("target/sub/x.sig")), "signature");
    EXPECT_FALSE(File::exists(String::copy(directory.path("target/old"))));
    ASSERT_TRUE(Zip::unzip(String::copy(directory.path("a.zip")), String::copy(directory.path("new/deep/target/"))));
    EXPECT_EQ(readFile(directory.path("new/deep/target/lib.so")), "code");
    EXPECT_EQ(tree().find("unpacking"), std::string::npos);
}

TEST_F(ZipTest, whatIsRefusedLeavesTheTargetAsItWas) {
    const std::string good = archive({{"good", "content"}});
    std::string overlong = good;
    overlong[good.size() - 10] = '\x7f';
    const struct {
        const char* what;
        std::string content;
        const char* logged;
    } rows[] = {
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
        {"symbolic link", archive({{"link", "/etc", S_IFLNK | 0777}}), "an entry is a symbolic link"},
        {"pipe", archive({{"pipe", "", S_IFIFO | 0777}}), "an entry is neither file nor directory"},
        {"many", archive({{"a", ""}, {"b", ""}, {"c", ""}, {"d", ""}}), "too many entries"},
        {"large", archive({{"a", std::string(60, 'a')}, {"b", std::string(60, 'b')}}), "too many bytes"},
        {"lying", archive({{"a", std::string(3000, 'a'), S_IFREG | 0644, 10}}), "unzip failed"},
    };
    for (const auto& row : rows) {
        log.clear();
        EXPECT_FALSE(unzip(row.content, {100, 3})) << row.what;
        EXPECT_TRUE(
            log.contains(std::string("ERROR Zip.unzip cannot unpack '") + directory.path("a.zip") + "': " + row.logged))
            << row.what;
        EXPECT_EQ(tree().find("unpacking"), std::string::npos) << row.what;
        EXPECT_EQ(readFile(directory.path("target/old")), "old") << row.what;
    }
}

TEST_F(ZipTest, aLinkInTheTargetsPlaceIsReplacedAndNotFollowed) {
    directory.write("elsewhere/kept", "kept");
    ASSERT_EQ(::symlink(directory.path("elsewhere").c_str(), directory.path("link").c_str()), 0);
    directory.write("a.zip", archive({{"kept", "evil"}}));
    EXPECT_TRUE(Zip::unzip(String::copy(directory.path("a.zip")), String::copy(directory.path("link"))));
    EXPECT_EQ(readFile(directory.path("elsewhere/kept")), "kept");
    EXPECT_EQ(readFile(directory.path("link/kept")), "evil");
}

TEST_F(ZipTest, aSingleQuoteInAPathIsRefused) {
    directory.write("it's.zip", archive({{"good", "content"}}));
    EXPECT_FALSE(Zip::unzip(String::copy(directory.path("it's.zip")), String::copy(directory.path("new"))));
    EXPECT_FALSE(Zip::unzip(String::copy(directory.path("a.zip")), String::copy(directory.path("it's"))));
    EXPECT_EQ(log.count("ERROR Zip.unzip"), 2U);
}

TEST_F(ZipTest, leftoversOfAKilledUnpackingGoButNotWhatIsInWork) {
    directory.write("target.unpacking-dead/x", "");
    directory.write("target.unpacking-busy/x", "");
    const int busy = ::open(directory.path("target.unpacking-busy").c_str(), O_RDONLY);
    ASSERT_EQ(::flock(busy, LOCK_EX), 0);
    EXPECT_TRUE(unzip(archive({{"good", "content"}})));
    EXPECT_EQ(tree().find("unpacking-dead"), std::string::npos);
    EXPECT_NE(tree().find("unpacking-busy"), std::string::npos);
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

}  // namespace
}  // namespace tessel::zlib
