#include "apps/nebrix-sign/storedarchive.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/childprocess.h"
#include "tests/support/temporarydirectory.h"

namespace tessel::sign {
namespace {

using nebrix::test::readFile;
using nebrix::test::runProgram;

TEST(StoredArchive, crc32HasItsCheckValue) {
    EXPECT_EQ(crc32("123456789"), 0xCBF43926U);
    EXPECT_EQ(crc32(""), 0U);
}

TEST(StoredArchive, isWhatUnzipTakes) {
    const nebrix::test::TemporaryDirectory folder;
    std::string binary(70000, '\0');
    for (std::size_t i = 0; i < binary.size(); ++i) {
        binary[i] = static_cast<char>(i * 7 % 251);
    }
    StoredArchive archive;
    archive.addFile("lib.so", binary, 0755);
    archive.addFile("empty", "");
    archive.addFile("below/text", "text");
    archive.addLink("link", "lib.so");
    const std::string path = folder.write("a.zip", archive.bytes());

    EXPECT_EQ(runProgram({"unzip", "-tqq", path}).status, 0);
    ASSERT_EQ(runProgram({"unzip", "-qq", "-d", folder.path("out"), path}).status, 0);
    EXPECT_EQ(readFile(folder.path("out/lib.so")), binary);
    EXPECT_EQ(readFile(folder.path("out/empty")), "");
    EXPECT_EQ(readFile(folder.path("out/below/text")), "text");
    EXPECT_TRUE(std::filesystem::is_symlink(folder.path("out/link")));
    EXPECT_EQ(static_cast<unsigned>(std::filesystem::status(folder.path("out/lib.so")).permissions()) & 0700, 0700U);
}

TEST(StoredArchive, withoutMembersIsAnEmptyArchive) {
    EXPECT_EQ(StoredArchive().bytes(), std::string("PK\5\6", 4) + std::string(18, '\0'));
}

}  // namespace
}  // namespace tessel::sign
