// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/base/string.h"

namespace tessel {

/// The path of a program that users do not start themselves: beside the running program, as after a build, or where it
/// is installed for this one. It need not be there.
String helperProgram(const char* name);

}  // namespace tessel
