#include "libs/base/memory.h"

#include <gtest/gtest.h>

#include <string>

namespace tessel {

TEST(Memory, sharesUntilItChanges) {
    const Memory original = String::copy("0123");
    Memory changed = original;
    changed.append('4').append(2, '5').append(String("6")).append(changed).setAt(0, 'x');
    EXPECT_EQ(changed.view(), "x123455601234556");
    EXPECT_EQ(original.view(), "0123");
    Memory grown = original.clone();
    EXPECT_NE(grown.array(), original.array());
    grown.resize(6);
    EXPECT_EQ(grown, Memory(String("0123\0\0", 6)));
    grown.resize(2);
    EXPECT_EQ((grown + original + Memory()).view(), "010123");
    EXPECT_EQ(Memory(String("a") + "b").view(), "ab");
}

TEST(Memory, showsItsBytesInHexadecimal) {
    EXPECT_EQ(Memory(String("\x00\xff\x0a", 3)).toHex(), "00ff0a");
    EXPECT_TRUE(Memory().toHex().empty());
    EXPECT_EQ(Memory::hexdump(String("0123456789abcdef\x00z\x7f\x80", 20)),
              "000000: 30 31 32 33 34 35 36 37 38 39 61 62 63 64 65 66  0123456789abcdef\n"
              "000010: 00 7a 7f 80                                      .z..\n");
    EXPECT_TRUE(Memory::hexdump(Memory()).empty());
}

}  // namespace tessel
