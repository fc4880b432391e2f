// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/view/transferprogress.h"

#include <gtest/gtest.h>

namespace tessel::view {
namespace {

constexpr std::uint64_t kMost = ~std::uint64_t{0};

TEST(TransferProgress, tellsThePartThatIsThere) {
    const std::tuple<std::uint64_t, std::uint64_t, unsigned> cases[] = {
        {5, 0, 0}, {2, 3, 666}, {999, 1000, 999}, {4, 3, 1000}, {kMost / 2, kMost, 500}, {kMost, kMost, 1000}};
    for (const auto& [received, total, permille] : cases) {
        TransferProgress progress;
        progress.update(received, total, 0);
        EXPECT_EQ(progress.permille(), permille) << received << "/" << total;
    }
}

TEST(TransferProgress, tellsTheRateOfTheLastSeconds) {
    // Pairs of clock and bytes received.
    const std::pair<std::vector<std::pair<std::uint64_t, std::uint64_t>>, std::optional<std::uint64_t>> cases[] = {
        {{}, {}},
        {{{1000, 0}, {1499, 5000}}, {}},
        {{{1000, 700}, {1500, 700}}, 0},
        {{{1000, 700}, {1050, 800}, {1500, 5700}}, 10'000},
        // A clock that stands still, or is set back, which begins anew; so does another file.
        {{{1000, 0}, {1000, 5000}, {1000, 9000}}, {}},
        {{{1000, 0}, {2000, 5000}, {2000, 9000}}, 9000},
        {{{9000, 0}, {1000, 5000}, {2000, 6000}}, 1000},
        {{{1000, 0}, {2000, 9000}, {2100, 0}, {3100, 50}}, 50},
        // What is more than three seconds old no longer counts, a stall does.
        {{{0, 0}, {1000, 90'000}, {2000, 91'000}, {3000, 92'000}, {4000, 93'000}}, 1000},
        {{{0, 0}, {1000, 6000}, {2000, 6000}, {3000, 6000}}, 2000},
        {{{0, 0}, {1000, kMost}}, kMost / 1000 * 1000}};
    for (const auto& [updates, rate] : cases) {
        TransferProgress progress;
        for (const auto& [clock, received] : updates) {
            progress.update(received, 0, clock);
        }
        EXPECT_EQ(progress.bytesPerSecond(), rate);
    }
}

TEST(Amount, isInTheLargestUnit) {
    const std::tuple<std::uint64_t, const char*, std::uint64_t> cases[] = {
        {999, "UNIT_B %s", 9990},        {1000, "UNIT_KB %s", 10},
        {1050, "UNIT_KB %s", 11},        {999'949, "UNIT_KB %s", 9999},
        {999'950, "UNIT_MB %s", 10},     {12'345'678, "UNIT_MB %s", 123},
        {999'950'000, "UNIT_GB %s", 10}, {kMost, "UNIT_GB %s", 184'467'440'737}};
    for (const auto& [bytes, key, tenths] : cases) {
        EXPECT_STREQ(amount(bytes).key, key) << bytes;
        EXPECT_EQ(amount(bytes).tenths, tenths) << bytes;
        EXPECT_EQ(amount(bytes).whole, bytes < 1000) << bytes;
    }
}

}  // namespace
}  // namespace tessel::view
