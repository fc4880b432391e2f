// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace tessel {

/// What "--version" answers: the program's name, the version, and which key components are verified against. Two lines,
/// the second without its end.
std::string versionText(const char* program);

}  // namespace tessel
