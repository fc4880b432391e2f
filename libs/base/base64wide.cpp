// SPDX-License-Identifier: Apache-2.0
#include "libs/base/base64wide.h"

#if defined(__x86_64__)

#include <immintrin.h>

namespace tessel::base64 {

namespace {

// Each lane of 128 bits holds 12 bytes and becomes 16 characters.
constexpr std::size_t kLaneBytes = 12;
constexpr std::size_t kLaneChars = 16;

/// Repeats a lane's constant in both lanes.
__attribute__((target("avx2"))) inline __m256i both(__m128i lane) { return _mm256_broadcastsi128_si256(lane); }

/// Cuts the 24 bits of each group into four values of 6 bits, one in each byte.
__attribute__((target("avx2"))) inline __m256i split(__m256i bytes) {
    // A group a, b, c becomes the two 16-bit numbers a:b and b:c.
    const __m256i pairs =
        _mm256_shuffle_epi8(bytes, both(_mm_setr_epi8(1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10)));
    // First and third value: shifted right by 10 and by 6, as the upper half of a product.
    const __m256i even =
        _mm256_mulhi_epu16(_mm256_and_si256(pairs, _mm256_set1_epi32(0x0fc0fc00)), _mm256_set1_epi32(0x04000040));
    // Second and fourth value: shifted left by 4 and by 8, into the upper bytes.
    const __m256i odd =
        _mm256_mullo_epi16(_mm256_and_si256(pairs, _mm256_set1_epi32(0x003f03f0)), _mm256_set1_epi32(0x01000010));
    return _mm256_or_si256(even, odd);
}

/// Each value's character: the value plus what its range of the alphabet lies away from it.
__attribute__((target("avx2"))) inline __m256i toCharacters(__m256i values) {
    // Range number: 0 for 26 to 51, 1 to 10 for the decimal digits, 11 and 12 for "+" and "/", 13 for 0 to 25.
    const __m256i distances =
        both(_mm_setr_epi8('a' - 26, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52,
                           '0' - 52, '0' - 52, '+' - 62, '/' - 63, 'A', 0, 0));
    const __m256i upper = _mm256_cmpgt_epi8(_mm256_set1_epi8(26), values);
    const __m256i range =
        _mm256_or_si256(_mm256_subs_epu8(values, _mm256_set1_epi8(51)), _mm256_and_si256(upper, _mm256_set1_epi8(13)));
    return _mm256_add_epi8(values, _mm256_shuffle_epi8(distances, range));
}

__attribute__((target("avx2"))) inline __m128i load(const unsigned char* bytes) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
}

__attribute__((target("avx2"))) std::size_t encodeAvx2(const unsigned char* bytes, std::size_t length, char* place) {
    std::size_t taken = 0;
    // A load of 16 bytes uses the first 12 of them.
    for (; length - taken >= 2 * kLaneBytes + 4; taken += 2 * kLaneBytes, place += 2 * kLaneChars) {
        const __m256i input =
            _mm256_inserti128_si256(_mm256_castsi128_si256(load(bytes + taken)), load(bytes + taken + kLaneBytes), 1);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(place), toCharacters(split(input)));
    }
    for (; length - taken >= kLaneBytes + 4; taken += kLaneBytes, place += kLaneChars) {
        const __m256i input = _mm256_castsi128_si256(load(bytes + taken));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(place), _mm256_castsi256_si128(toCharacters(split(input))));
    }
    return taken;
}

}  // namespace

std::size_t encodeWide(const unsigned char* bytes, std::size_t length, char* place) noexcept {
    return __builtin_cpu_supports("avx2") ? encodeAvx2(bytes, length, place) : 0;
}

}  // namespace tessel::base64

#else

namespace tessel::base64 {

std::size_t encodeWide(const unsigned char*, std::size_t, char*) noexcept { return 0; }

}  // namespace tessel::base64

#endif
