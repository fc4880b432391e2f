// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/view/logtail.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "tests/support/temporarydirectory.h"

namespace tessel::view {
namespace {

using Change = LogTail::Change;

/// Lines of ten bytes with their line feeds.
std::string numbered(unsigned count) {
    std::string text;
    for (unsigned i = 0; i < count; ++i) {
        text += std::to_string(100'000'000 + i) + "\n";
    }
    return text;
}

std::string held(const LogTail& tail) { return std::string(asText(tail.lines()).view()); }

/// To the end of the file.
std::string pollAll(LogTail& tail) {
    while (tail.poll() != Change::Nothing) {
    }
    return held(tail);
}

class LogTailTest : public testing::Test {
protected:
    void write(const std::string& text) const { nebrix::test::writeFile(m_path, text); }
    void append(const std::string& text) const { std::ofstream(m_path, std::ios::app) << text; }

    const nebrix::test::TemporaryDirectory m_directory;
    const std::string m_path = m_directory.path("a.log");
    const String m_name = String::copy(m_path);
};

TEST_F(LogTailTest, followsWhatIsAppendedLineByLine) {
    LogTail tail(m_name);
    EXPECT_EQ(tail.poll(), Change::Unreadable);
    write("");
    EXPECT_EQ(tail.poll(), Change::Nothing);
    append("a\n\nhal");
    EXPECT_EQ(tail.poll(), Change::Appended);
    EXPECT_EQ(held(tail), "a\n\n");
    append("f\nc\n");
    EXPECT_EQ(tail.poll(1), Change::Appended);
    EXPECT_EQ(held(tail), "a\n\n");
    EXPECT_EQ(pollAll(tail), "a\n\nhalf\nc\n");
}

TEST_F(LogTailTest, startsAtALineNearTheEndAndGoesBack) {
    const std::string text = numbered(20'000);
    write(text);
    for (const std::size_t firstBytes : {0U, 9U, 10U, 15U, 199'999U, 900'000U}) {
        LogTail tail(m_name, firstBytes);
        const std::size_t bytes = std::min<std::size_t>(firstBytes / 10 * 10, text.size());
        EXPECT_EQ(pollAll(tail), text.substr(text.size() - bytes)) << firstBytes;
        while (tail.earlier()) {
        }
        EXPECT_EQ(held(tail), text) << firstBytes;
        EXPECT_EQ(tail.firstNumber() + 20'000, static_cast<std::int64_t>(bytes / 10));
    }
}

TEST_F(LogTailTest, holdsNoMoreThanItsShare) {
    const std::string text = numbered(100);
    write(text);
    LogTail tail(m_name, 50, 10);
    pollAll(tail);
    EXPECT_TRUE(tail.earlier());
    EXPECT_FALSE(tail.earlier());
    EXPECT_EQ(held(tail), text.substr(900));
    append("last\n");
    EXPECT_EQ(pollAll(tail), text.substr(910) + "last\n");
    EXPECT_EQ(tail.firstNumber(), -4);

    constexpr std::size_t kMost = LogTail::kMostBytes / LogTail::kLongestLine;
    for (std::size_t i = 0; i < kMost + 9; ++i) {
        append(std::string(LogTail::kLongestLine + 5, 'x') + "\n");
    }
    pollAll(tail);
    EXPECT_EQ(tail.size(), 10U);
    LogTail wide(m_name, LogTail::kMostBytes * 2);
    EXPECT_EQ(pollAll(wide).size(), kMost * (LogTail::kLongestLine + 1));
    EXPECT_TRUE(wide.startsLater());
}

TEST_F(LogTailTest, findsInTheWholeFileAndMovesThere) {
    // A million bytes before the line that is looked for, and as many behind it.
    const std::string line = "21-11-26 07:08:09.0 [t] ERROR A.b Nadel\n";
    write(numbered(100'000) + line + "on\n" + numbered(100'000) + "nadel");
    LogTail tail(m_name, 5000, 30'000);
    pollAll(tail);
    const auto find = [&](const LogQuery& query, std::optional<std::int64_t> behind = {}, int pieces = 99) {
        const auto place = tail.find(query, behind, [&] { return pieces-- > 0; });
        return place ? std::pair(place->offset, place->line) : std::pair<std::uint64_t, std::uint64_t>();
    };
    const std::pair<std::uint64_t, std::uint64_t> needle(1'000'000, 100'001);
    const std::pair<std::uint64_t, std::uint64_t> nowhere;
    EXPECT_EQ(find({"nADEL"}), needle);
    EXPECT_EQ(find({"nadel", 2}), needle);
    EXPECT_EQ(find({"nadel", 1}), nowhere);
    EXPECT_EQ(find({"on", 2}), std::pair(needle.first + line.size(), needle.second + 1)) << "continues an error";
    EXPECT_EQ(find({"nadel"}, tail.firstNumber()), needle) << "round to the beginning";
    EXPECT_EQ(find({"100099998"}).second, 99'999U);
    EXPECT_EQ(find({"100099998"}, tail.firstNumber() + 400).second, 200'001U) << "the one behind";
    EXPECT_EQ(find({"nadel"}, {}, 0), nowhere) << "given up";
    EXPECT_EQ(find({""}), nowhere);

    EXPECT_FALSE(tail.numberAt(needle.first).has_value());
    tail.moveTo(needle.first);
    pollAll(tail);
    const std::optional<std::int64_t> number = tail.numberAt(needle.first);
    ASSERT_TRUE(number.has_value());
    EXPECT_EQ(tail.line(static_cast<std::size_t>(*number - tail.firstNumber())).text, "A.b Nadel");
    EXPECT_EQ(tail.line(0).text, "100093447") << "some before it";
    append("\n" + numbered(1));
    EXPECT_EQ(tail.poll(), Change::Nothing) << "there is no room";
    EXPECT_EQ(find({"nadel"}, *number), std::pair(needle.first + line.size() + 1'000'003, needle.second + 100'002));
    EXPECT_TRUE(tail.endsEarlier());
    EXPECT_TRUE(tail.newest());
    EXPECT_FALSE(tail.newest() || tail.endsEarlier() || tail.later());
    EXPECT_TRUE(pollAll(tail).ends_with("\n100000000\n"));

    tail.moveTo(needle.first);
    pollAll(tail);
    const std::int64_t found = tail.numberAt(needle.first).value_or(0);
    while (tail.later()) {
        ASSERT_LE(tail.size(), 30'000U);
    }
    EXPECT_TRUE(held(tail).ends_with("\nnadel\n100000000\n"));
    EXPECT_EQ(tail.firstNumber() + 30'000, found + 100'004) << "none was left out";
    append("more\n");
    EXPECT_TRUE(pollAll(tail).ends_with("\nmore\n")) << "it follows again";
    tail.moveTo(needle.first + 1'000'000);
    pollAll(tail);
    EXPECT_FALSE(tail.newest()) << "the newest are held";
}

TEST_F(LogTailTest, givesLinesLongerThanAPieceInPartsWhenGoingBack) {
    write("first\n" + std::string(LogTail::kPiece * 2, 'x') + "\nlast\n");
    LogTail tail(m_name, 5);
    EXPECT_EQ(pollAll(tail), "last\n");
    while (tail.earlier()) {
    }
    const std::string all = held(tail);
    EXPECT_TRUE(all.starts_with("first\nx"));
    EXPECT_EQ(std::count(all.begin(), all.end(), 'x'), static_cast<std::ptrdiff_t>(LogTail::kPiece * 2));
}

TEST_F(LogTailTest, startsAnewWithAnotherFile) {
    write("one\ntwo\n");
    LogTail tail(m_name);
    pollAll(tail);
    for (const char* text : {"one\n", "written anew\nand\ngrown\n", ""}) {
        write(text);
        EXPECT_EQ(tail.poll(), Change::Restarted) << text;
        EXPECT_EQ(pollAll(tail), text);
    }
    append("one\n");
    pollAll(tail);
    std::filesystem::rename(m_path, m_directory.path("b.log"));
    EXPECT_EQ(tail.poll(), Change::Unreadable);
    ASSERT_EQ(::mkfifo(m_path.c_str(), 0600), 0);
    EXPECT_EQ(tail.poll(), Change::Unreadable);
    EXPECT_EQ(held(tail), "one\n");
    std::filesystem::remove(m_path);
    write("one\ntwo\n");
    EXPECT_EQ(tail.poll(), Change::Restarted);
    EXPECT_EQ(held(tail), "one\ntwo\n");
}

}  // namespace
}  // namespace tessel::view
