// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/view/logline.h"

#include <gtest/gtest.h>

namespace tessel::view {
namespace {

TEST(LogLine, isTakenApartOrAContinuation) {
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

}  // namespace
}  // namespace tessel::view
