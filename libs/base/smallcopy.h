// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstring>

namespace tessel {

/// Copies bytes that do not overlap. For the lengths that texts are mostly joined from (4 to 32 bytes) two copies of
/// fixed size, which may overlap each other, stand in for a call.
inline void copySmall(char* to, const char* from, std::size_t length) noexcept {
    if (length > 32) {
        std::memcpy(to, from, length);
    } else if (length >= 16) {
        char tail[16];
        std::memcpy(tail, from + length - 16, 16);
        std::memcpy(to, from, 16);
        std::memcpy(to + length - 16, tail, 16);
    } else if (length >= 8) {
        char tail[8];
        std::memcpy(tail, from + length - 8, 8);
        std::memcpy(to, from, 8);
        std::memcpy(to + length - 8, tail, 8);
    } else if (length >= 4) {
        char tail[4];
        std::memcpy(tail, from + length - 4, 4);
        std::memcpy(to, from, 4);
        std::memcpy(to + length - 4, tail, 4);
    } else {
        for (std::size_t i = 0; i < length; ++i) {
            to[i] = from[i];
        }
    }
}

}  // namespace tessel
