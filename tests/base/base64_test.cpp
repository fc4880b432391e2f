#include "libs/base/base64.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace tessel {

namespace {

/// Bit by bit, as slow as it is plain.
std::string reference(const std::string& bytes) {
    const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::vector<unsigned> values((bytes.size() * 8 + 5) / 6, 0);
    for (std::size_t bit = 0; bit < bytes.size() * 8; ++bit) {
        const unsigned byte = static_cast<unsigned char>(bytes[bit / 8]);
        values[bit / 6] |= (byte >> (7 - bit % 8) & 1U) << (5 - bit % 6);
    }
    std::string text((values.size() + 3) / 4 * 4, '=');
    std::transform(values.begin(), values.end(), text.begin(), [&](unsigned value) { return alphabet[value]; });
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
}

TEST(Base64, decodesWhateverItGets) {
    const std::pair<std::string, std::string> rows[] = {{"YWI", "ab"},
                                                        {"YQ=", "a"},
                                                        {"YQ", "a"},
                                                        {"YR==", "a"},
                                                        {"Y", ""},
                                                        {"", ""},
                                                        {"====", ""},
                                                        {"!!!!!", ""},
                                                        {"YW\r\nJj\n", "abc"},
                                                        {"YWJj\n\nYWJj", "abcabc"},
                                                        {"Y-W_J\x80j", "abc"},
                                                        {"YQ==YWJj", "a"}};
    for (const auto& [text, expected] : rows) {
        const std::vector<char> exact(text.begin(), text.end());
        const auto length = static_cast<unsigned>(text.size());
        EXPECT_EQ(Base64::decode(exact.data(), length).view(), expected) << text;
        EXPECT_LE(expected.size(), Base64::sizeDecode(length)) << text;
    }
    EXPECT_EQ(Base64::decode(Memory(String("Y\0WJj", 5))).view(), "abc");
}

}  // namespace tessel
