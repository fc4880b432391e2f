// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/base/string.h"

namespace tessel {

/// The calling thread's name for log lines: its toolkit thread's, "main" on the initial thread, else "thread-" and the
/// system's number. Kept for each thread, so that asking again costs a comparison and a reference. Usable before
/// main() and after it.
String currentThreadName();

/// Every thread asks anew the next time.
void threadNamesChanged() noexcept;

}  // namespace tessel
