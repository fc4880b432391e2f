// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

namespace tessel::base64 {

/// Encodes as many whole groups of 3 bytes from the front as the processor's wide instructions can take, reading
/// nothing behind `length` bytes. Returns how many bytes it took, a multiple of 3 and possibly 0; it wrote 4
/// characters for each 3 of them.
std::size_t encodeWide(const unsigned char* bytes, std::size_t length, char* place) noexcept;

}  // namespace tessel::base64
