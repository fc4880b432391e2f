// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "libs/base/string.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define NEBRIX_SHADOW_MEMORY 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
#define NEBRIX_SHADOW_MEMORY 1
#endif
#endif
#ifndef NEBRIX_SHADOW_MEMORY
#define NEBRIX_SHADOW_MEMORY 0
#endif

namespace tessel {

/// False in builds whose sanitizer takes terabytes.
inline constexpr bool kMemoryCanBeWatched = NEBRIX_SHADOW_MEMORY == 0;

/// How the client wants the component to be held.
struct HostOptions {
    unsigned memoryMiB = 0;  // that it may have for itself; 0 for any amount
    bool debugger = false;   // waited for before the component is loaded
};
/// Of the program's arguments (hostoptions.h). What is no option counts for nothing.
HostOptions readHostOptions(int argc, const char* const* argv) noexcept;

/// Takes from this process, before a component is loaded and any other thread runs, what no component of its kind
/// needs; docs/decisions.md says what that is and why it is no more. Nobody of the same user sees into it unless a
/// debugger is wanted. A host checker, named by the directory that it may write to, only looks: it writes nowhere else,
/// gains no rights, and calls nothing of the system that changes others. Temporary files go into that directory too. A
/// plug-in is named by an empty text.
///
/// As much as the system offers: what it does not is returned, a sentence each.
std::vector<String> confine(const String& directory, const HostOptions& options);

/// Has a thread look from now on whether the component has more memory than it may; then the process says so on
/// standard error and exits with kMemoryLimitStatus. Programs that the component starts do not count and are not
/// limited, which a limit of the system's own would hold for ever. False when there is no thread for it. Nothing
/// happens for 0, and where memory cannot be watched.
bool watchMemory(unsigned mebibytes) noexcept;

/// Says on standard error that a debugger is waited for, and returns once there is one; false when the client closes
/// its end of the connection before.
bool waitForDebugger(int connection) noexcept;

}  // namespace tessel
