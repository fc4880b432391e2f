// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "apps/nebrix-sign/errors.h"

/// Whole files, with errors that name the file and say why. Each function raises ESign.
namespace tessel::sign {

/// The longest file that clients take: their sizes are 32-bit.
inline constexpr std::uint64_t kLongestFile = 0xFFFFFFFF;

/// The whole file, which may be a pipe. A longer one than `longest` bytes is refused.
std::string readWhole(const std::string& path, std::uint64_t longest = kLongestFile);

/// Returns when the file can be read and is no longer than clients take.
void requireReadable(const std::string& path);

/// Puts a file in place as a whole, by way of a temporary one beside it that is its owner's alone until it is whole.
/// Without `replace` a file that is there already stays, and is an error.
void place(const std::string& path, std::string_view content, mode_t mode, bool replace);

/// Makes the directory, and those above it, where they are missing. Whether it was missing itself.
bool makeDirectory(const std::string& path);

/// The last part of a path.
std::string fileName(const std::string& path);

}  // namespace tessel::sign
