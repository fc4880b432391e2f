// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cerrno>

#include "libs/base/file.h"
#include "libs/base/platform.h"

/// What the parts of File share, and nobody else needs.
namespace tessel {

/// Whether system calls would see the path end too early.
inline bool holdsNul(const String& path) noexcept { return path.find('\0') != String::npos; }

/// A path as system calls take it: normalised. For one with a NUL byte in it the empty path, which they all refuse
/// (ENOENT).
inline String systemPath(const String& path) { return holdsNul(path) ? String() : File::normalise(path); }

[[noreturn]] inline void raiseFile(RaiseSite site, const String& path, int systemError = errno) {
    raise<EFile>("EFile", site,
                 {.subject = path, .words = platform::errorText(systemError), .systemError = systemError});
}

/// Logs "cannot open <path>" first.
[[noreturn]] void cannotOpen(const String& path, const char* method, RaiseSite site);

}  // namespace tessel
