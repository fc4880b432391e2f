#pragma once

#include "libs/base/string.h"

namespace tessel {

/// The path of a program that comes with this one: beside it, or where it is installed for it.
String helperProgram(const char* name);

}  // namespace tessel
