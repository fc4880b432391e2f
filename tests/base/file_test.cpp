#include "libs/base/file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "tests/support/systemlogcapture.h"
#include "tests/support/temporarydirectory.h"

namespace tessel {
namespace {

using nebrix::test::readFile;
using nebrix::test::SystemLogCapture;
using nebrix::test::TemporaryDirectory;

class FileTest : public ::testing::Test {
protected:
    String at(const char* name) { return String::copy(directory.path(name)); }
    static struct stat status(const String& path) {
        struct stat found {};
        EXPECT_EQ(::stat(path.str(), &found), 0) << path.str();
        return found;
    }

    TemporaryDirectory directory;
};

TEST_F(FileTest, whatIsWrittenIsOpenToEverybody) {
    directory.write("f", "old and long");
    ASSERT_EQ(::chmod(at("f").str(), 0600), 0);
    File::writeAllFile(at("f"), "new");
    EXPECT_EQ(status(at("f")).st_mode & 07777, 0777U);
    EXPECT_EQ(File::readAllFile(at("f")), "new");
    EXPECT_EQ(File::readAllFile(at("f").replace('/', '\\')), "new");
}

TEST_F(FileTest, openModes) {
    const struct {
        unsigned mode;
        bool fresh;
        bool opens;
        const char* after;
    } rows[] = {
        {File::kOut, true, true, "x"},
        {File::kOut, false, true, "x"},
        {File::kOut | File::kIn, true, false, ""},
        {File::kOut | File::kIn, false, true, "xbc"},
        {File::kOut | File::kIn | File::kTruncate, false, true, "x"},
        {File::kOut | File::kIn | File::kAtEnd, false, true, "abcx"},
        {File::kOut | File::kAppend, false, true, "abcx"},
        {File::kAppend, true, true, "x"},
        {File::kOut | File::kAppend | File::kTruncate, false, false, "abc"},
        {File::kIn | File::kTruncate, false, false, "abc"},
        {0, false, false, "abc"},
    };
    for (const auto& row : rows) {
        ::unlink(at("f").str());
        if (!row.fresh) {
            directory.write("f", "abc");
        }
        File file;
        EXPECT_EQ(file.open(at("f"), row.mode), row.opens) << row.mode;
        EXPECT_EQ(file.isOpened(), row.opens);
        if (row.opens) {
            file.write("x");
            file.close();
        }
        if (row.opens || !row.fresh) {
            EXPECT_EQ(readFile(directory.path("f")), row.after) << row.mode;
        }
    }
}

TEST_F(FileTest, readsInAnyBlocks) {
    std::string bytes(300'000, '\0');
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<char>(i * 31 >> 3U);
    }
    directory.write("f", bytes);
    for (const unsigned block : {1U, 1000U, 1024U, 65'536U, 400'000U}) {
        File file;
        ASSERT_TRUE(file.open(at("f"), File::kIn));
        EXPECT_EQ(file.size(), bytes.size());
        std::string got;
        std::string piece(block, '\0');
        while (const unsigned n = file.read(piece.data(), block)) {
            got.append(piece, 0, n);
            ASSERT_EQ(file.sizeToRead(), bytes.size() - got.size());
        }
        EXPECT_TRUE(got == bytes) << block;
    }
}

TEST_F(FileTest, readingAndWritingShareOnePosition) {
    directory.write("f", "0123456789");
    File file;
    ASSERT_TRUE(file.open(at("f"), File::kIn | File::kOut));
    char two[2];
    file.read(two, 2);
    file.write("AB");
    EXPECT_EQ(file.getReadPos(), 4U);
    EXPECT_EQ(file.size(), 10U);
    file.read(two, 2);
    EXPECT_EQ(std::string(two, 2), "45");
    file.write(String::copy(std::string(20'000, 'z')));
    file.write("end");
    EXPECT_EQ(file.size(), 20'009U);
    file.setReadPos(1);
    file.write("B");
    file.flush();
    EXPECT_TRUE(readFile(directory.path("f")) == "0BAB45" + std::string(20'000, 'z') + "end");
}

TEST_F(FileTest, typedValuesComeBack) {
    File file;
    ASSERT_TRUE(file.open(at("f"), File::kOut | File::kIn | File::kTruncate));
    file.write(-12);
    file.write(";");
    file.write(false);
    file.write("\x01rest");
    file.setReadPos(0);
    int number = 0;
    bool flag = true;
    char separator = 0;
    unsigned char byte = 0;
    Memory two;
    String rest;
    file.read(number);
    file.read(separator);
    file.read(flag);
    file.read(byte);
    file.read(two, 2);
    EXPECT_THROW(file.read(number), EFile);
    file.read(rest);
    EXPECT_TRUE(number == -12 && !flag && byte == 1);
    EXPECT_EQ(String(String(two) + rest), "rest");
    EXPECT_THROW(file.read(two, 1), EFile);
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
    EXPECT_TRUE(log.contains("TRACE File.readAllFile cannot open " + directory.path("no/such")));
    EXPECT_TRUE(log.contains("TRACE File.writeAllFile cannot open " + directory.path("no/such")));
    EXPECT_TRUE(log.contains("TRACE File.getFullList unable to opendir() " + directory.path("no/such")));
    File full;
    ASSERT_TRUE(full.open("/dev/full", File::kIn | File::kOut));
    EXPECT_THROW(full.write(String::copy(std::string(20'000, 'x'))), EFile);
    full.write("x");
    EXPECT_THROW(full.flush(), EFile);
    directory.write("five", "12345");
    EXPECT_THROW(File::readAllFile(at("five"), 4), EFile);
    EXPECT_EQ(File::readAllFile(at("five"), 5), "12345");
}

TEST_F(FileTest, atomicWritingReplacesTheFileItself) {
    directory.write("target", "kept");
    ASSERT_EQ(::symlink(directory.path("target").c_str(), at("link").str()), 0);
    File::writeAtomically(at("link"), "new");
    EXPECT_EQ(readFile(directory.path("target")), "kept");
    EXPECT_EQ(readFile(directory.path("link")), "new");
    EXPECT_EQ(status(at("link")).st_mode & 07777, 0777U);
    EXPECT_THROW(File::writeAtomically(at(""), "over a directory"), EFile);
    List<String> names;
    File::getFullList(at(""), names);
    std::sort(names.begin(), names.end());
    EXPECT_EQ(String(" ").glue(names), "link target");
}

TEST_F(FileTest, aCopyHasTheTimesOfItsSource) {
    for (const char* content : {"", "some content"}) {
        directory.write("from", content);
        const timespec times[2] = {{1000, 5}, {2000, 7}};
        ASSERT_EQ(::utimensat(AT_FDCWD, at("from").str(), times, 0), 0);
        File::copy(at("from"), at("to"));
        EXPECT_EQ(status(at("to")).st_atim.tv_sec, 1000);
        EXPECT_EQ(File::getLastWriteTime(at("to")), 2000);
        EXPECT_EQ(readFile(directory.path("to")), content);
    }
    directory.write("from", "kept");
    EXPECT_THROW(File::copy(at("from"), at("./from")), EFile);
    EXPECT_EQ(readFile(directory.path("from")), "kept");
}

TEST_F(FileTest, directoriesAreMadeWithTheirParentsAndRemovedWithTheirContent) {
    File::createDirectory(at("a"));
    File::ensureDirectory(at("a\\b/c/"));
    File::ensureDirectory(at("a/b/c"));
    EXPECT_TRUE(File::isDirectory(at("a/b/c")));
    EXPECT_EQ(status(at("a/b")).st_mode & 07777, 0700U);
    directory.write("a/file", "");
    EXPECT_THROW(File::createDirectory(at("a/file/x")), EFile);
    directory.write("outside", "kept");
    ASSERT_EQ(::symlink(directory.path().c_str(), at("a/b/link").str()), 0);
    EXPECT_THROW(File::remove(at("a")), EFile);
    File::move(at("a"), at("moved"));
    File::removeTree(at("moved"));
    EXPECT_FALSE(File::exists(at("moved")));
    EXPECT_TRUE(File::exists(at("outside")));
    File::setReadOnly(at("outside"), true);
    EXPECT_TRUE(File::isReadOnly(at("outside")));
    File::setReadOnly(at("outside"), false);
    EXPECT_FALSE(File::isReadOnly(at("outside")));
}

TEST(File, takesPathsApart) {
    const struct {
        const char* path;
        const char* directory;
        const char* withoutSlash;
    } rows[] = {
        {"a/b/c", "a/b/", "a/b"}, {"\"a\\b\\c\"", "a/b/", "a/b"}, {"a", "", ""}, {"/a", "/", ""}, {"a/", "a/", "a"}};
    for (const auto& row : rows) {
        EXPECT_EQ(File::getPath(row.path), row.directory) << row.path;
        EXPECT_EQ(File::getSubPath(row.path), row.withoutSlash) << row.path;
    }
}

TEST(File, findsTheUsersDataDirectory) {
    const std::string home = std::getenv("HOME") != nullptr ? std::getenv("HOME") : "";
    const SystemLogCapture log;
    ::setenv("HOME", "/somewhere", 1);
    EXPECT_EQ(File::getUserApplicationDataDirectory(), "/somewhere/.Nebrix/");
    ::unsetenv("HOME");
    ::setenv("USER", "jo", 1);
    EXPECT_EQ(File::getUserApplicationDataDirectory(), "/home/jo/.Nebrix/");
    ::unsetenv("USER");
    EXPECT_EQ(File::getUserApplicationDataDirectory(), File::getCurrentDirectory() + "/.Nebrix/");
    EXPECT_TRUE(log.contains("TRACE File.getUserApplicationDataDirectory can not retrieve user application data"));
    ::setenv("HOME", home.c_str(), 1);
}

}  // namespace
}  // namespace tessel
