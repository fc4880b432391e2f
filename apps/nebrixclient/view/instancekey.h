// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/base/string.h"

namespace tessel::view {

/// Tells program arguments apart without giving them away: the argument's SHA-1 digest in Base64 (28 characters, the
/// last one "="), every "/" replaced by "_", so that it can be a file's name.
String instanceKey(const String& argument);

/// The name of the lock that an instance with this argument holds.
String instanceLockName(const String& argument);

/// Whether the environment variable's value asks for core dumps: exactly "1", trailing white space apart.
bool coreDumpsWanted(const String& environmentValue) noexcept;

}  // namespace tessel::view
