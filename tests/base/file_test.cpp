#include "libs/base/file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <tuple>

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
    std::string content(const char* name) { return readFile(directory.path(name)); }
    unsigned mode(const char* name) {
        return static_cast<unsigned>(std::filesystem::status(directory.path(name)).permissions());
    }

    TemporaryDirectory directory;
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

TEST_F(FileTest, readingAndWritingShareOnePosition) {
    directory.write("f", "0123456789");
    File file;
    ASSERT_TRUE(file.open(at("f"), File::kIn | File::kOut));
    char two[2];
    file.read(two, 2);
    file.write("AB");
    EXPECT_EQ(file.getReadPos(), 4U);
    file.read(two, 2);
    EXPECT_EQ(std::string(two, 2), "45");
    file.write(String::copy(std::string(20'000, 'z')));
    file.write("end");
    EXPECT_EQ(file.size(), 20'009U);
    file.setReadPos(1);
    file.write("B");
    file.flush();
    EXPECT_TRUE(content("f") == "0BAB45" + std::string(20'000, 'z') + "end");
}

TEST_F(FileTest, typedValuesComeBack) {
    directory.write("f", "-12false;rest");
    File file;
    ASSERT_TRUE(file.open(at("f"), File::kIn));
    int number = 0;
    bool flag = true;
    String rest;
    file.read(number);
    file.read(flag);
    EXPECT_THROW(file.read(number), EFile);
    file.read(rest);
    EXPECT_TRUE(number == -12 && !flag && rest == ";rest");
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
    EXPECT_EQ(nebrix::test::listTree(directory.path()), "link\ntarget\n");
}

TEST_F(FileTest, aCopyHasTheTimesOfItsSource) {
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
    EXPECT_EQ(nebrix::test::listTree(directory.path()), "outside\n");
    for (const bool readOnly : {true, false}) {
        File::setReadOnly(at("outside"), readOnly);
        EXPECT_EQ(File::isReadOnly(at("outside")), readOnly);
    }
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
    const std::string home = std::getenv("HOME") != nullptr ? std::getenv("HOME") : "";
    ::setenv("HOME", "/somewhere", 1);
    EXPECT_EQ(File::getUserApplicationDataDirectory(), "/somewhere/.Nebrix/");
    ::unsetenv("HOME");
    ::setenv("USER", "jo", 1);
    EXPECT_EQ(File::getUserApplicationDataDirectory(), "/home/jo/.Nebrix/");
    ::unsetenv("USER");
    const SystemLogCapture log;
    EXPECT_EQ(File::getUserApplicationDataDirectory(), File::getCurrentDirectory() + "/.Nebrix/");
    EXPECT_TRUE(log.contains("TRACE File.getUserApplicationDataDirectory can not retrieve user application data"));
    ::setenv("HOME", home.c_str(), 1);
}

}  // namespace
}  // namespace tessel
