// SPDX-License-Identifier: Apache-2.0
#pragma once

/// What the client starts the component host with, and what it learns from its end.
namespace tessel {

/// "--memory-limit=MIB": what the component may have for itself; 0 or no such argument for any amount.
inline constexpr const char kMemoryLimitOption[] = "--memory-limit=";
/// The host stays open to debuggers and waits for one before it loads the component.
inline constexpr const char kDebuggerOption[] = "--wait-for-debugger";

/// The exit status of a host that ended itself because the component had more memory than it may. A component that
/// exits so itself is told as if it had.
inline constexpr int kMemoryLimitStatus = 120;

}  // namespace tessel
