#include "apps/nebrixclient/view/logline.h"

#include <gtest/gtest.h>

namespace tessel::view {
namespace {

TEST(LogLine, IsTakenApartOrAContinuation) {
    const std::tuple<std::string, std::string, int, const char*> cases[] = {
        {"21-11-26 07:08:09.0", "main 7", 0, "A.b text [x] y"},
        {"21-11-26 07:08:09.123", "", 4, "A: "},
        {"21-11-26 07:08:09.12", "x", 1, ""},
        {"21-11-26 07:08:09.1", "x", 2, "e"},
        {"21-11-26 07:08:09.1", "x", 3, "a"}};
    const char* const labels[] = {"TRACE", "DEBUG", "ERROR", "ASSERT", "WARNING"};
    for (const auto& [time, thread, category, text] : cases) {
        const LogLine line = LogLine::parse(time + " [" + thread + "] " + labels[category] + " " + text);
        EXPECT_EQ(line.time.view(), time);
        EXPECT_EQ(line.thread.view(), thread);
        EXPECT_EQ(line.category, category);
        EXPECT_EQ(line.text, text);
    }
    for (const char* other :
         {"", "21-11-26 07:08:09.", "21-11-26 07:08:09.1", "21-11-26 07:08:09.1 [x", "21-11-26 07:08:09.1 [x] TRACE",
          "21-11-26 07:08:09.1 [x] INFO t", "21-11-26 07:08:09.1234 [x] TRACE t", "2x-11-26 07:08:09.1 [x] TRACE t"}) {
        EXPECT_EQ(LogLine::parse(other).category, LogLine::kContinuation) << other;
        EXPECT_EQ(LogLine::parse(other).text, other);
    }
}

TEST(LogFilter, ShowsACategoryWithItsContinuationsAndFindsInIt) {
    std::vector<LogLine> lines;
    for (const char* line : {"torn", "21-11-26 07:08:09.1 [x] TRACE One", "21-11-26 07:08:09.1 [x] ERROR two ONE",
                             "of two", "21-11-26 07:08:09.1 [x] TRACE three"}) {
        lines.push_back(LogLine::parse(line));
    }
    LogFilter filter;
    filter.setLines(lines);
    constexpr std::size_t kNowhere = 99;
    // Category, lines shown; text, from, wrap, where it is found.
    const std::tuple<int, std::size_t, const char*, std::size_t, bool, std::size_t> cases[] = {
        {-1, 5, "oNe", 0, false, 1},     {-1, 5, "one", 2, false, 2},        {-1, 5, "one", 3, false, kNowhere},
        {-1, 5, "one", 9, true, 1},      {-1, 5, "four", 2, true, kNowhere}, {-1, 5, "", 0, true, kNowhere},
        {0, 2, "three", 0, false, 1},    {0, 2, "two", 0, true, kNowhere},   {2, 2, "OF", 0, false, 1},
        {4, 0, "one", 0, true, kNowhere}};
    for (const auto& [category, shown, text, from, wrap, found] : cases) {
        filter.setCategory(category);
        EXPECT_EQ(filter.size(), shown);
        EXPECT_EQ(filter.find(text, from, wrap).value_or(kNowhere), found) << text << " " << from;
    }
    EXPECT_EQ(asText({lines[0], lines[1]}), "torn\n21-11-26 07:08:09.1 [x] TRACE One\n");
}

}  // namespace
}  // namespace tessel::view
