#include "libs/base/file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <thread>
#include <tuple>
#include <vector>

#include "apps/nebrix-sign/storedarchive.h"
#include "libs/base/platform.h"
#include "libs/base/zip.h"
#include "tests/support/systemlogcapture.h"
#include "tests/support/temporarydirectory.h"

namespace tessel {
namespace {

using namespace nebrix::test;

struct FileTest : ::testing::Test {
    String at(const char* name) { return String::copy(directory.path(name)); }
    std::string content(const char* name) { return readFile(directory.path(name)); }
    unsigned mode(const char* name) {
        return static_cast<unsigned>(std::filesystem::status(directory.path(name)).permissions());
    }

    TemporaryDirectory directory;
};

/// An archive of these names and contents; the kind in their mode makes them something else than files.
std::string archive(const std::vector<std::pair<const char*, std::string>>& entries, unsigned kind = 0) {
    sign::StoredArchive made;
    for (const auto& [name, content] : entries) {
        made.addFile(name, content, kind | 0644);
    }
    return made.bytes();
}

struct ZipTest : FileTest {
    ZipTest() { directory.write("target/old", "old"); }

    bool unzip(const std::string& content, const char* target = "target", const char* name = "a.zip") {
        directory.write(name, content);
        return zlib::Zip::unzip(at(name), at(target), {100, 3});
    }
    std::string tree() const { return listTree(directory.path()); }

    SystemLogCapture log;
};

TEST_F(FileTest, openModes) {
    const std::tuple<unsigned, bool, const char*> rows[] = {
        {File::kOut, true, "x"},
        {File::kOut | File::kIn, true, "xbc"},
        {File::kOut | File::kIn | File::kTruncate, true, "x"},
        {File::kOut | File::kIn | File::kAtEnd, true, "abcx"},
        {File::kOut | File::kAppend, true, "abcx"},
        {File::kOut | File::kAppend | File::kTruncate, false, "abc"},
        {File::kIn | File::kTruncate, false, "abc"},
        {0, false, "abc"},
    };
    for (const auto& [mode, opens, after] : rows) {
        directory.write("f", "abc");
        File file;
        EXPECT_EQ(file.open(at("f"), mode), opens) << mode;
        if (file.isOpened()) {
            file.write("x");
            EXPECT_EQ(file.size(), std::string(after).size()) << mode << ": the buffer counts";
        }
        file.close();
        EXPECT_EQ(content("f"), after) << mode;
    }
    EXPECT_FALSE(File().open(at("new"), File::kOut | File::kIn));
    EXPECT_TRUE(File().open(at("new"), File::kAppend));
}

TEST_F(FileTest, readsInAnyBlocks) {
    std::string bytes;
    for (unsigned i = 0; bytes.size() < 300'000; ++i) {
        bytes += std::to_string(i);
    }
    directory.write("f", bytes);
    for (const unsigned block : {1U, 1000U, 1024U, 65'536U, 400'000U}) {
        File file;
        ASSERT_TRUE(file.open(at("f"), File::kIn));
        std::string got;
        std::string piece(block, '\0');
        while (const unsigned n = file.read(piece.data(), block)) {
            got.append(piece, 0, n);
            ASSERT_EQ(file.sizeToRead(), bytes.size() - got.size());
        }
        EXPECT_TRUE(got == bytes) << block;
    }
}

TEST_F(FileTest, readingAndWritingTypedValuesShareOnePosition) {
    directory.write("f", "-12false;89rest");
    File file;
    ASSERT_TRUE(file.open(at("f"), File::kIn | File::kOut));
    int number = 0;
    bool flag = true;
    String rest;
    file.read(number);
    file.read(flag);
    EXPECT_TRUE(number == -12 && !flag);
    EXPECT_THROW(file.read(number), EFile);
    file.write("AB");
    EXPECT_EQ(file.getReadPos(), 10U);
    char two[2];
    file.read(two, 2);
    EXPECT_EQ(std::string(two, 2), "9r");
    file.read(rest);
    EXPECT_EQ(rest, "est");
    file.write(String::copy(std::string(20'000, 'z')));
    file.write("end");
    EXPECT_EQ(file.size(), 20'018U);
    file.setReadPos(1);
    file.write("B");
    file.flush();
    EXPECT_TRUE(content("f") == "-B2falseAB9rest" + std::string(20'000, 'z') + "end");
}

TEST_F(FileTest, whatDoesNotFitInto32BitsIsToldByNoOtherNumber) {
    constexpr std::uint64_t kGiB = 1U << 30U;
    std::filesystem::resize_file(directory.write("f", ""), 5 * kGiB);
    File file;
    ASSERT_TRUE(file.open(at("f"), File::kIn));
    EXPECT_EQ(file.wideSize(), 5 * kGiB);
    EXPECT_THROW((void)file.size(), EFile);
    EXPECT_THROW((void)file.sizeToRead(), EFile);
    Memory few;
    file.read(few, 3);
    file.setReadPos(2U * kGiB);
    EXPECT_EQ(file.sizeToRead(), 3U * kGiB);
    ASSERT_TRUE(file.open(at("f"), File::kIn | File::kAtEnd));
    EXPECT_EQ(file.sizeToRead(), 0U);
    EXPECT_THROW((void)file.getReadPos(), EFile);
    EXPECT_THROW(File::readAllFile(at("f")), EFile);
    std::filesystem::resize_file(directory.path("f"), String::kMaxLength + 1ULL);
    EXPECT_EQ(file.size(), String::kMaxLength + 1);
    file.setReadPos(0);
    EXPECT_THROW(file.read(few), EFile);
}

TEST_F(FileTest, aPathWithNulNamesNothingAndAPipeIsNotWaitedFor) {
    directory.write("f", "kept");
    const String path = at("f") + String("\0x", 2);
    const String root("\0", 1);
    EXPECT_FALSE(File::exists(path) || File().open(path, File::kIn) || File::isDirectory(at("") + root));
    EXPECT_FALSE(File::isReadOnly(path) || File::getLastWriteTime(path) != 0);
    EXPECT_THROW(File::readAllFile(path), EFile);
    EXPECT_THROW(File::writeAllFile(path, ""), EFile);
    EXPECT_THROW(File::writeAtomically(path, ""), EFile);
    EXPECT_THROW(File::copy(path, at("g")), EFile);
    EXPECT_THROW(File::copy(at("f"), path), EFile);
    EXPECT_THROW(File::move(path, at("g")), EFile);
    EXPECT_THROW(File::move(at("f"), at("g") + root), EFile);
    EXPECT_THROW(File::remove(path), EFile);
    EXPECT_THROW(File::removeTree(path), EFile);
    EXPECT_THROW(File::createDirectory(at("g") + root), EFile);
    EXPECT_THROW(File::setReadOnly(path, true), EFile);
    List<String> names;
    File::getFullList(root, names);
    EXPECT_EQ(names.size(), 0U);
    EXPECT_EQ(listTree(directory.path()) + content("f"), "f\nkept");
    ASSERT_EQ(::mkfifo(at("pipe").str(), 0600), 0);
    EXPECT_TRUE(File::exists(at("pipe")));
    EXPECT_THROW(File::copy(at("pipe"), at("g")), EFile);
}

TEST_F(FileTest, failuresAreLoggedAndRaised) {
    const SystemLogCapture log;
    const String missing = at("no/such");
    EXPECT_THROW(File::readAllFile(missing), EFile);
    EXPECT_THROW(File::writeAllFile(missing, ""), EFile);
    EXPECT_THROW(File::writeAtomically(missing, ""), EFile);
    EXPECT_THROW(File::readAllFile(at("")), EFile);  // a directory
    EXPECT_THROW(File::copy(missing, at("x")), EFile);
    EXPECT_THROW(File::move(missing, at("x")), EFile);
    EXPECT_THROW(File::remove(missing), EFile);
    EXPECT_THROW(File::setReadOnly(missing, true), EFile);
    File::removeTree(missing);
    List<String> names;
    File::getFullList(missing, names);
    for (const std::string text :
         {"readAllFile cannot open ", "writeAllFile cannot open ", "getFullList unable to opendir() "}) {
        EXPECT_TRUE(log.contains("TRACE File." + text + directory.path("no/such"))) << text;
    }
    File full;
    ASSERT_TRUE(full.open("/dev/full", File::kIn | File::kOut));
    EXPECT_THROW(full.write(String::copy(std::string(20'000, 'x'))), EFile);
    full.write("x");
    EXPECT_THROW(full.flush(), EFile);
    directory.write("five", "12345");
    EXPECT_THROW(File::readAllFile(at("five"), 4), EFile);
    EXPECT_EQ(File::readAllFile(at("five"), 5), "12345");
}

TEST_F(FileTest, writingKeepsTheFileAndAtomicWritingReplacesIt) {
    directory.write("target", "old and long");
    ASSERT_EQ(::chmod(at("target").str(), 0600), 0);
    ASSERT_EQ(::symlink("target", at("link").str()), 0);
    File::writeAtomically(at("link"), "new");
    EXPECT_EQ(content("target"), "old and long");
    File::writeAllFile(at("target"), "all");
    EXPECT_EQ(content("link") + content("target"), "newall");
    EXPECT_TRUE(mode("link") == 0777U && mode("target") == 0777U) << "open to everybody, deliberately";
    EXPECT_THROW(File::writeAtomically(at(""), "over a directory"), EFile);
    EXPECT_EQ(listTree(directory.path()), "link\ntarget\n");
}

TEST_F(FileTest, aKilledSaverLeavesWhatIsItsOwnersAndGoesWithTheNextSave) {
    const auto saveAndDie = [this] {
        const rlimit none{0, 0};
        const rlimit little{1000, 1000};
        ::setrlimit(RLIMIT_CORE, &none);
        ::setrlimit(RLIMIT_FSIZE, &little);
        File::writeAtomically(at("f"), String::copy(std::string(20'000, 'x')));
    };
    EXPECT_EXIT(saveAndDie(), ::testing::KilledBySignal(SIGXFSZ), "");
    const std::string left = listTree(directory.path());
    ASSERT_EQ(left.size(), std::string("f.saving-123456\n").size()) << left;
    EXPECT_EQ(mode(left.substr(0, left.size() - 1).c_str()), 0600U);
    directory.write("f.saving-2long00", "");
    const int busy = ::open(directory.write("f.saving-busy00", "").c_str(), O_RDONLY);
    ASSERT_EQ(::flock(busy, LOCK_EX), 0);
    File::writeAtomically(at("f"), "");
    EXPECT_EQ(listTree(directory.path()), "f\nf.saving-2long00\nf.saving-busy00\n");
    ::close(busy);
}

TEST_F(FileTest, aCopyHasTheTimesOfItsSourceOrIsNone) {
    directory.write("from", "some content");
    const timespec times[2] = {{1000, 5}, {2000, 7}};
    ASSERT_EQ(::utimensat(AT_FDCWD, at("from").str(), times, 0), 0);
    File::copy(at("from"), at("to"));
    struct stat found {};
    ASSERT_EQ(::stat(at("to").str(), &found), 0);
    EXPECT_EQ(found.st_atim.tv_sec, 1000);
    EXPECT_EQ(File::getLastWriteTime(at("to")), 2000);
    EXPECT_EQ(content("to"), "some content");
    EXPECT_THROW(File::copy(at("from"), at("./from")), EFile);
    EXPECT_EQ(content("from"), "some content");
    EXPECT_THROW(File::copy("/proc/self/mem", at("to")), EFile) << "it cannot be read at its start";
    EXPECT_THROW(File::copy(at(""), at("to")), EFile);
    EXPECT_EQ(listTree(directory.path()), "from\n");
}

TEST_F(FileTest, directoriesAreMadeWithTheirParentsAndRemovedWithTheirContent) {
    File::ensureDirectory(at("a\\b/c/"));
    File::ensureDirectory(at("a/b/c"));
    EXPECT_TRUE(File::isDirectory(at("a/b/c")));
    EXPECT_EQ(mode("a/b"), 0700U);
    directory.write("a/file", "");
    EXPECT_THROW(File::createDirectory(at("a/file/x")), EFile);
    directory.write("outside", "kept");
    ASSERT_EQ(::symlink(directory.path().c_str(), at("a/b/link").str()), 0);
    EXPECT_THROW(File::remove(at("a")), EFile);
    File::move(at("a"), at("moved"));
    List<String> names;
    File::getFullList(at("moved/b/c/.."), names);
    EXPECT_EQ(names.size(), 2U);
    File::removeTree(at("moved"));
    EXPECT_EQ(listTree(directory.path()), "outside\n");
    for (const bool readOnly : {true, false}) {
        File::setReadOnly(at("outside"), readOnly);
        EXPECT_EQ(File::isReadOnly(at("outside")), readOnly);
    }
}

TEST_F(FileTest, aDirectoryIsKeptPrivateOrNamedInTheLog) {
    const SystemLogCapture log;
    std::filesystem::permissions(directory.path(), std::filesystem::perms(0755));
    File::keepPrivate(at(""));
    EXPECT_EQ(mode(""), 0700U);
    EXPECT_EQ(log.lines().size(), 0U);
    // Root's own, or given away.
    const bool isRoot = ::chown(directory.path().c_str(), 12345, 12345) == 0;
    File::keepPrivate(isRoot ? at("") : String("/"));
    EXPECT_TRUE(log.contains("WARNING File.keepPrivate '" + (isRoot ? directory.path("") : "/") + "' belongs to"));
    EXPECT_EQ(::chown(directory.path().c_str(), ::geteuid(), ::getegid()), 0);
    File::keepPrivate(at("none"));
    EXPECT_TRUE(log.contains("' cannot be made its owner's alone: No such file or directory"));
}

TEST(File, takesPathsApart) {
    using Row = std::pair<const char*, const char*>;
    for (const auto& [path, directory] :
         {Row{"a/b/c", "a/b/"}, {"\"a\\b\\c\"", "a/b/"}, {"a", ""}, {"/a", "/"}, {"a/", "a/"}}) {
        EXPECT_EQ(File::getPath(path), directory) << path;
        EXPECT_EQ(File::getSubPath(path), String(directory).trimRight('/')) << path;
    }
}

TEST(File, findsTheUsersDataDirectory) {
    ::setenv("HOME", "/somewhere", 1);
    EXPECT_EQ(File::getUserApplicationDataDirectory(), "/somewhere/.Nebrix/");
    ::unsetenv("HOME");
    ::setenv("USER", "jo", 1);
    EXPECT_EQ(File::getUserApplicationDataDirectory(), "/home/jo/.Nebrix/");
    ::unsetenv("USER");
    const SystemLogCapture log;
    EXPECT_EQ(File::getUserApplicationDataDirectory(), File::getCurrentDirectory() + "/.Nebrix/");
    EXPECT_TRUE(log.contains("TRACE File.getUserApplicationDataDirectory can not retrieve user application data"));
    const std::filesystem::path start = std::filesystem::current_path();
    std::filesystem::current_path("/");
    EXPECT_EQ(File::getUserApplicationDataDirectory().view(), start.string() + "/.Nebrix/") << "where it was";
    ::setenv("HOME", "a/b", 1);
    EXPECT_EQ(File::getUserApplicationDataDirectory().view(), start.string() + "/a/b/.Nebrix/");
    std::filesystem::current_path(start);
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
        {"symbolic link", archive({{"link", "/etc"}}, S_IFLNK), "an entry is a symbolic link"},
        {"pipe", archive({{"pipe", ""}}, S_IFIFO), "an entry is neither file nor directory"},
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
    EXPECT_EQ(content("elsewhere/kept"), "kept");
    EXPECT_EQ(content("link/kept"), "evil");
}

TEST_F(ZipTest, theResultTakesTheTargetsPlaceAndLeftoversGoUnlessInWork) {
    directory.write("target.unpacking-dead/x", "");
    directory.write("target.unpacking-busy/x", "");
    const int busy = ::open(directory.path("target.unpacking-busy").c_str(), O_RDONLY);
    ASSERT_EQ(::flock(busy, LOCK_EX), 0);
    for (const char* target : {"target", "new/deep/"}) {
        ASSERT_TRUE(unzip(archive({{"lib.so", "code"}, {"sub/", ""}, {"sub/x.sig", "sig"}}), target));
    }
    EXPECT_EQ(content("target/lib.so") + content("target/sub/x.sig"), "codesig");
    EXPECT_EQ(tree(),
              "a.zip\nnew/\nnew/deep/\nnew/deep/lib.so\nnew/deep/sub/\nnew/deep/sub/x.sig\n"
              "target.unpacking-busy/\ntarget.unpacking-busy/x\n"
              "target/\ntarget/lib.so\ntarget/sub/\ntarget/sub/x.sig\n");
    ::close(busy);
}

TEST_F(FileTest, theShellGetsNothingButItsCommand) {
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

TEST_F(FileTest, aShellThatIsCancelledIsGoneWithWhatItStarted) {
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
}  // namespace tessel
