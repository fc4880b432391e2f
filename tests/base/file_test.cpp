// SPDX-License-Identifier: Apache-2.0
#include "libs/base/file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <filesystem>
#include <thread>
#include <tuple>
#include <vector>

#include "apps/nebrix-sign/ziparchive.h"
#include "libs/base/filelock.h"
#include "libs/base/platform.h"
#include "libs/base/zip.h"
#include "tests/base/allocationcounter.h"
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
std::string archive(const std::vector<std::pair<const char*, std::string>>& entries, unsigned kind = S_IFREG) {
    sign::ZipArchive made(sign::ZipArchive::Method::Stored);
    for (const auto& [name, content] : entries) {
        made.addFile(name, content);
    }
    std::string bytes = made.finish();
    bytes[bytes.find("PK\1\2") + 41] = static_cast<char>((kind | 0644) >> 8);
    return bytes;
}

/// Sets a field of an archive's n-th entry in the directory.
void setField(std::string& archive, unsigned entry, unsigned at, const std::string& value) {
    std::size_t place = archive.find("PK\1\2");
    for (; entry > 0; --entry) {
        place = archive.find("PK\1\2", place + 1);
    }
    archive.replace(place + at, value.size(), value);
}
constexpr unsigned kLength = 24;
constexpr unsigned kNameLength = 28;

struct ZipTest : FileTest {
    ZipTest() { directory.write("target/old", "old"); }

    bool unzip(const std::string& content, const char* target = "target", const char* name = "a.zip",
               const zlib::UnpackLimits& limits = {100, 3}, bool cancelled = false) {
        directory.write(name, content);
        const std::atomic<bool> flag = cancelled;
        return zlib::Zip::unzip(at(name), at(target), limits, &flag);
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
    File each[2];
    for (const char* text : {"1", "22", "3"}) {
        File& file = each[text[0] == '2'];
        EXPECT_TRUE(file.isOpened() || file.open(at("new"), File::kAppend));
        file.write(text);
        file.flush();
    }
    EXPECT_EQ(content("new"), "1223");
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
    const auto refused = [&file, this](auto&& value) {
        try {
            file.read(value);
        } catch (const EFile& caught) {
            return caught.facts().subject == at("f") ? caught.facts().words : String("elsewhere");
        }
        return String();
    };
    EXPECT_EQ(refused(number), "another value was expected there");
    file.write("AB");
    EXPECT_EQ(file.getReadPos(), 10U);
    char two[2];
    file.read(two, 2);
    EXPECT_EQ(std::string(two, 2), "9r");
    file.read(rest);
    EXPECT_EQ(rest, "est");
    EXPECT_EQ(refused(number), "the file is shorter than it should be");
    const std::string many(100, 'z');  // together more than the buffer holds
    for (int i = 0; i < 1000; ++i) {
        file.write(String::copy(many));
    }
    file.write(String::copy(std::string(20'000, 'z')));
    file.write("end");
    EXPECT_EQ(file.size(), 120'018U);
    file.setReadPos(1);
    file.write("B");
    file.flush();
    EXPECT_TRUE(content("f") == "-B2falseAB9rest" + std::string(120'000, 'z') + "end");
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

TEST_F(FileTest, aPathWithNulNamesNothing) {
    directory.write("f", "kept");
    const String path = at("f") + String("\0x", 2);
    EXPECT_FALSE(File::exists(path) || File().open(path, File::kIn) || File::isReadOnly(path));
    EXPECT_THROW(File::writeAtomically(path, ""), EFile);
    EXPECT_THROW(File::copy(at("f"), path), EFile);
    EXPECT_THROW(File::move(path, at("g")), EFile);
    EXPECT_THROW(File::removeTree(path), EFile);
    EXPECT_THROW(File::createDirectory(at("g") + String("\0", 1)), EFile);
    EXPECT_EQ(listTree(directory.path()) + content("f"), "f\nkept");
}

TEST_F(FileTest, whatCannotBeReadDoesNotExistAndAPipeIsNotWaitedFor) {
    directory.write("f", "");
    ASSERT_EQ(::mkfifo(at("pipe").str(), 0600), 0);
    EXPECT_TRUE(File::exists(at("pipe")));
    EXPECT_THROW(File::copy(at("pipe"), at("g")), EFile);
    // Root may read everything, and is somebody else for this.
    const uid_t user = ::geteuid();
    std::filesystem::permissions(directory.path(), std::filesystem::perms(0755));
    std::filesystem::permissions(directory.path("f"), std::filesystem::perms(0300));
    ASSERT_EQ(::seteuid(user == 0 ? 65534 : user), 0);
    EXPECT_FALSE(File::exists(at("f")));
    ASSERT_EQ(::seteuid(user), 0);
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
    EXPECT_THROW(File::createDirectory(at("a/file")), EFile);
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
    std::string nameless = good;
    setField(nameless, 0, kNameLength, std::string(2, '\0'));
    std::string longer = archive({{"a", std::string(3000, 'a')}});
    setField(longer, 0, kLength, std::string("\x0a\0", 2));
    std::string more = archive({{"a", std::string(90, 'a')}, {"b", std::string(90, 'b')}});
    setField(more, 1, kLength, "\1");
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
        {"no name", nameless, "an entry's name is not allowed"},
        {"symbolic link", archive({{"link", "/etc"}}, S_IFLNK), "an entry is a symbolic link"},
        {"pipe", archive({{"pipe", ""}}, S_IFIFO), "an entry is neither file nor directory"},
        {"many", archive({{"a", ""}, {"b", ""}, {"c", ""}, {"d", ""}}), "too many entries"},
        {"large", archive({{"a", std::string(60, 'a')}, {"b", std::string(60, 'b')}}), "too many bytes"},
        {"longer", longer, "the disk is full, or a file is longer than any that the archive declares"},
        {"more", more, "the archive unpacks to "},
        {"damaged", std::string(good).replace(good.find("content"), 1, "C"), "unzip failed with status 2"},
    };
    for (const auto& [what, content, reason] : rows) {
        log.clear();
        EXPECT_FALSE(unzip(content)) << what;
        EXPECT_TRUE(log.contains("ERROR Zip.unzip cannot unpack '" + directory.path("a.zip") + "': " + reason)) << what;
        EXPECT_EQ(tree(), "a.zip\ntarget/\ntarget/old\n") << what;
    }
    EXPECT_FALSE(unzip(good, "target", "it's.zip")) << "a quote would end the shell's word";
    EXPECT_FALSE(unzip(good, "it's"));
    EXPECT_EQ(log.count("': a path with a single quote is not supported"), 2U);
    EXPECT_FALSE(unzip(good, "target", "a.zip", {}, true));
    EXPECT_TRUE(log.contains("': it was given up"));
    EXPECT_FALSE(unzip(good, "target", "a.zip", {.time = {}}));
    EXPECT_TRUE(log.contains("': unzip takes too long"));
}

TEST_F(ZipTest, anArchiveThatInflatesBeyondWhatItDeclaresIsStoppedWhileItDoes) {
    constexpr unsigned kEntries = 64;
    const std::string zeros(4 << 20, '\0');
    sign::ZipArchive made;
    for (unsigned i = 0; i < kEntries; ++i) {
        made.addFile(std::to_string(i), zeros);
    }
    std::string bomb = made.finish();
    for (unsigned i = 0; i < kEntries; ++i) {
        setField(bomb, i, kLength, i == 0 ? std::string("\0\0\x40\0", 4) : std::string("\1\0\0\0", 4));
    }
    EXPECT_FALSE(unzip(bomb, "target", "a.zip", {}));
    EXPECT_TRUE(log.contains("': the archive unpacks to more than it declares")) << "and not only seen in the end";
}

TEST_F(ZipTest, whatCannotBeRemovedIsNoReasonToFail) {
    // So deep that not even root can name it.
    const std::string name(250, 'd');
    int place = ::open(directory.path("target").c_str(), O_RDONLY | O_DIRECTORY);
    for (int depth = 0; depth < 20; ++depth) {
        ASSERT_EQ(::mkdirat(place, name.c_str(), 0700), 0);
        const int next = ::openat(place, name.c_str(), O_RDONLY | O_DIRECTORY);
        ::close(place);
        place = next;
    }
    ::close(place);
    for (const char* met : {"in the target's place", "beside it"}) {
        log.clear();
        EXPECT_TRUE(unzip(archive({{"lib.so", "code"}}))) << met;
        EXPECT_TRUE(log.contains("WARNING Zip.unzip cannot remove '")) << met;
    }
}

TEST_F(ZipTest, memoryThatEndsLeavesNothingBesideTheTarget) {
    directory.write("a.zip", archive({{"lib.so", "code"}}));
    for (unsigned long number = 1; number < 100; ++number) {
        const String paths[] = {at("a.zip"), at("target")};
        ::test::failAllocation(number);
        zlib::Zip::unzip(paths[0], paths[1]);
        ::test::failAllocation(0);
        ASSERT_EQ(tree().find(".unpacking-"), std::string::npos) << number;
    }
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
    ::setenv("PATH", "/elsewhere:/usr/bin:/bin", 1);
    const String command =
        String::copy("{ ls /proc/self/fd | tr '\\n' ' '; echo \"${UNZIP-none} $PATH\"; ps -o tty= $$; } > " + out);
    EXPECT_EQ(platform::runShell(command, 1U << 20U), 0);
    ::unsetenv("UNZIP");
    ::close(leaked);
    EXPECT_EQ(readFile(out).substr(0, 28), "0 1 2 3 none /usr/bin:/bin\n?");
    const auto before = std::signal(SIGCHLD, SIG_IGN);  // as a program is started by one that forgets its children
    EXPECT_EQ(platform::runShell("exit 7", 0), 7);
    std::signal(SIGCHLD, before);
    EXPECT_EQ(platform::runShell("kill -9 $$", 0), 128 + SIGKILL);
    EXPECT_NE(platform::runShell(String::copy("head -c 5000 /dev/zero > " + out), 1024), 0);
    EXPECT_EQ(readFile(out).size(), 1024U);
}

TEST_F(FileTest, aShellThatIsNotToGoOnIsGoneWithWhatItStarted) {
    const std::string began = directory.path("began");
    const String command = String::copy("mkfifo '" + directory.path("pipe") + "'; touch '" + began + "'; cat '" +
                                        directory.path("pipe") + "'; touch '" + directory.path("after") + "'");
    EXPECT_EQ(platform::runShell(command, 0, [&] { return !std::filesystem::exists(began); }), 128 + SIGKILL);
    EXPECT_FALSE(std::filesystem::exists(directory.path("after")));
}

TEST_F(FileTest, aCommandEndsWithTheProcessThatWaitsForIt) {
    const std::string pipe = directory.path("pipe");
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    const pid_t parent = ::fork();
    if (parent == 0) {
        platform::runShell(String::copy("exec sleep 60 > " + pipe), 0);
        ::_exit(0);
    }
    pollfd end{::open(pipe.c_str(), O_RDONLY), 0, 0};
    ::kill(parent, SIGKILL);
    ::waitpid(parent, nullptr, 0);
    EXPECT_EQ(::poll(&end, 1, 10000), 1) << "the pipe's writer lives on";
    ::close(end.fd);
}

TEST_F(FileTest, aLockHasOneHolder) {
    const String path = at("lock");
    unsigned asked = 0;
    const auto twice = [&] { return ++asked < 2; };
    {
        const FileLock first(path, twice);
        EXPECT_TRUE(first.held());
        EXPECT_FALSE(FileLock(path, twice).held());
        EXPECT_EQ(asked, 2U);
        EXPECT_EQ(platform::runShell(String::copy("exec flock -n '" + directory.path("lock") + "' true"), 0), 1);
    }
    EXPECT_TRUE(FileLock(path, twice).held());
    EXPECT_EQ(mode("lock"), 0600U);
    EXPECT_FALSE(FileLock(at("missing/lock"), twice).held());
    EXPECT_EQ(asked, 2U) << "nobody is waited for in vain";
}

}  // namespace
}  // namespace tessel
