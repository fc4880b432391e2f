// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/base/string.h"

namespace tessel {

/// Why others than the directory's owner may exchange what lies in it: its mode or its owner, as words; empty when they
/// may not, or there is no such directory. Right to the root user, and in a directory with the sticky bit that is ours
/// or root's, where others can only add. Access control lists are not looked at.
String writableByOthers(const String& directory);

/// One warning in the log that names those of the home directory, the client's and the components' directories that
/// others may write. Nothing else follows: what was verified is in memory by the time that it is used.
void warnOfOpenDirectories();

}  // namespace tessel
