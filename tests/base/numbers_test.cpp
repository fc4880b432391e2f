// SPDX-License-Identifier: Apache-2.0
#include "libs/base/numbers.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <tuple>
#include <vector>

#include "libs/base/datetime.h"
#include "tests/base/allocationcounter.h"

namespace tessel {

template <class T>
using Limits = std::numeric_limits<T>;

TEST(Numbers, areWrittenAsTheStandardLibraryDoes) {
    const auto check = [](auto... values) {
        EXPECT_EQ((std::vector<std::string>{toString(values).str()...}),
                  (std::vector<std::string>{std::to_string(values)...}));
    };
    for (const long value : {0L, 1L, -1L, 9L, 10L, -10L, 123456L, 2147483647L, -2147483648L, 4294967295L,
                             Limits<long>::max(), Limits<long>::min()}) {
        const auto positive = static_cast<unsigned>(value);
        const auto small = static_cast<unsigned short>(value);
        check(value, static_cast<unsigned long>(value), static_cast<int>(value), positive, static_cast<short>(value),
              small, static_cast<unsigned char>(value));
        EXPECT_EQ(uint32ToHex(positive), toString(positive, "%x"));
        EXPECT_EQ(uint16ToHex(small), toString(small, "%x"));
    }
    EXPECT_EQ(toString(this).str(), ::testing::PrintToString(static_cast<const void*>(this)));
    EXPECT_EQ(toString(static_cast<const void*>(nullptr)), "(nil)");
    EXPECT_EQ(toString(true), "true");
    EXPECT_EQ(toString(false), "false");
    EXPECT_EQ(toString(42U, "<%04x>"), "<002a>");
    EXPECT_EQ(toString(1U, "%300u").length(), 255U) << "cut at its block";
    const unsigned long before = test::allocations();
    EXPECT_EQ(toString(Limits<long>::min()).length(), 20U);
    EXPECT_EQ(test::allocations(), before) << "its text comes from the pool";
}

TEST(Numbers, areReadUpToTheFirstOtherByte) {
    const std::tuple<const char*, int, int> rows[] = {
        {"0x1A", 0, 26},      {"010", 0, 8},    {"09", 0, 0},
        {"-0X1a", 0, -26},    {"-42", 10, -42}, {"+7", 10, 7},
        {"+-7", 10, 0},       {" 7", 10, 0},    {"9z", 10, 9},
        {"", 10, 0},          {"-", 10, 0},     {"0x", 16, 0},
        {"0xfF", 16, 255},    {"fg", 16, 15},   {"Zz", 36, 1295},
        {"{\x80", 40, 0},     {"11", -5, 0},    {"2147483648", 10, Limits<int>::min()},
        {"4294967297", 10, 1}};
    for (const auto& [text, base, expected] : rows) {
        EXPECT_EQ(toInt32(text, base), expected) << text;
        EXPECT_EQ(toInt32(String::copy(text), base), expected) << text;
    }
}

TEST(Numbers, wrapInTheirWidthAndTheStrictFormFallsBack) {
    EXPECT_EQ(toUint32("-1"), Limits<unsigned>::max());
    EXPECT_EQ(toUint64("-1"), Limits<unsigned long>::max());
    EXPECT_EQ(toUint64("18446744073709551617"), 1UL);
    EXPECT_EQ(toLong("-9223372036854775808"), Limits<long>::min());
    EXPECT_EQ(toInt16("-32769"), 32767);
    EXPECT_EQ(toUint16(String("-1")), 65535);
    EXPECT_EQ(hexToUint32("0xDeadBeef"), 0xdeadbeefU);
    EXPECT_EQ(hexToUint32(String("ff")), 255U);
    EXPECT_EQ(toLong(String("123456789").range(2, 5)), 345L) << "a view ends before its text does";
    EXPECT_EQ(smartIntConversion("12a", 3, -1), -1);
    EXPECT_EQ(smartIntConversion("12a", 2, -1), 12);
    EXPECT_EQ(smartIntConversion("-1", 2, 7), 7);
    EXPECT_EQ(smartIntConversion("4294967297", 10, 7), 1);
}

TEST(DateTime, readsWhatItWritesAndNothingElse) {
    EXPECT_EQ(DateTime::parse(DateTime(1763719200).toString())->seconds(), 1763719200);
    EXPECT_EQ(DateTime::parse("2025-11-21T11:30:00+0130")->seconds(), 1763719200);
    for (const char* text : {"", "2025-11-21T11:30:00", "2025-11-21T11:30:00+01300", " 025-11-21T11:30:00+0130",
                             "2025-13-21T11:30:00+0130", "2025-11-21 11:30:00+0130", "2025-11-21T11:30:00Z0130"}) {
        EXPECT_FALSE(DateTime::parse(String::copy(text))) << text;
    }
}

}  // namespace tessel
