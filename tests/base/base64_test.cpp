#include "libs/base/base64.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tessel {

namespace {

/// Bit by bit, as slow as it is plain.
std::string reference(const std::string& bytes) {
    const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    unsigned value = 0;
    unsigned bits = 0;
    for (std::size_t i = 0; i < bytes.size() * 8; ++i) {
        const unsigned byte = static_cast<unsigned char>(bytes[i / 8]);
        value = value * 2 + (byte >> (7 - i % 8)) % 2;
        if (++bits == 6) {
            text += alphabet[value];
            value = bits = 0;
        }
    }
    if (bits != 0) {
        text += alphabet[value << (6 - bits)];
    }
    text.resize((text.size() + 3) / 4 * 4, '=');
    return text;
}

}  // namespace

TEST(Base64, encodesEveryLengthAndDecodesItBack) {
    unsigned seed = 1;
    for (unsigned length = 0; length < 300; ++length) {
        // On the heap and of this exact size, so that the address sanitizer sees a read behind it.
        std::vector<char> bytes(length);
        for (char& byte : bytes) {
            seed = seed * 1103515245U + 12345U;
            byte = static_cast<char>(seed >> 16U);
        }
        const std::string plain(bytes.begin(), bytes.end());
        const String text = Base64::encode(bytes.data(), length);
        ASSERT_EQ(text.view(), reference(plain)) << length;
        ASSERT_EQ(text.length(), Base64::sizeEncode(length));
        const std::vector<char> copy(text.begin(), text.end());
        ASSERT_EQ(Base64::decode(copy.data(), text.length()).view(), plain) << length;
    }
}

TEST(Base64, encodesEveryPairOfCharacters) {
    // All 4096 pairs of characters, most of them on the path of wide instructions.
    std::string bytes;
    for (unsigned i = 0; i < 4096; ++i) {
        bytes.append({static_cast<char>(i >> 4U), static_cast<char>((i << 4U) | (i >> 8U)), static_cast<char>(i)});
    }
    EXPECT_EQ(Base64::encode(String::copy(bytes)).view(), reference(bytes));
    EXPECT_EQ(Base64::encode("a"), "YQ==");
    EXPECT_EQ(Base64::encode(Memory(String("ab"))), "YWI=");
    EXPECT_TRUE(Base64::encode(Memory()).empty());
}

TEST(Base64, decodesWhateverItGets) {
    struct Case {
        const char* text;
        const char* expected;
    };
    for (const Case& c : {Case{"YWJj", "abc"},
                          {"YWI", "ab"},
                          {"YQ=", "a"},
                          {"YQ", "a"},
                          {"YR==", "a"},
                          {"Y", ""},
                          {"", ""},
                          {"====", ""},
                          {"YW\r\nJj\n", "abc"},
                          {"YWJj\n\nYWJj", "abcabc"},
                          {"Y-W_J\x80j", "abc"},
                          {"YQ==YWJj", "a"},
                          {"!!!!!", ""}}) {
        const std::string text = c.text;
        const std::vector<char> exact(text.begin(), text.end());
        const auto length = static_cast<unsigned>(text.size());
        EXPECT_EQ(Base64::decode(exact.data(), length).view(), c.expected) << c.text;
        EXPECT_LE(std::string(c.expected).size(), Base64::sizeDecode(length)) << c.text;
    }
    EXPECT_EQ(Base64::decode("YWJj").view(), "abc");
    EXPECT_EQ(Base64::decode(String("YWJjYWJj")).length(), Base64::sizeDecode(8));
    EXPECT_EQ(Base64::decode(Memory(String("Y\0WJj", 5))).view(), "abc");
}

}  // namespace tessel
