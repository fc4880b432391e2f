// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/base/string.h"

namespace tessel {

/// Whether a name that came from the gateway may become one component of a path: at most 255 bytes, not "." and
/// without "/", backslash, "..", single quote (the shell call to unzip does not escape) and control bytes.
/// The empty name is not plain.
bool isPlainName(const String& name) noexcept;

/// Checks the value of a configuration key, and with `mayBeEmpty` lets the empty text pass. What is refused is logged
/// with the key's name, never with the value, and raises EClientConfiguration.
void requirePlainName(const char* key, const String& value, bool mayBeEmpty = false);

}  // namespace tessel
