// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/base/string.h"

namespace tessel {

/// The value is also the index of the category's stream. There is no category for information: use Trace.
enum class LogCategory : int { Trace = 0, Debug = 1, Error = 2, Assert = 3, Warning = 4 };

inline constexpr int kLogCategories = 5;

/// Hands one line to the process's console (see console.h); does nothing when there is none. Any thread may call,
/// before main() and after it. Never raises and never waits for a file while the console's thread runs: when lines come
/// faster than they are written, or memory ends, they are dropped and counted.
///
/// A String that views static bytes is kept as it is until the line is written: pass String::copy() of text whose
/// storage is temporary. The `const char* text` form copies.
void log(LogCategory category, const String& className, const String& method, const String& text) noexcept;
void log(LogCategory category, const String& className, const String& method, const char* text) noexcept;
void log(LogCategory category, const char* className, const String& method, const String& text) noexcept;
void log(LogCategory category, const char* className, const String& method, const char* text) noexcept;
// No text at all.
template <class Name, class Text>
requires(NoText<Name> || NoText<Text>) void log(LogCategory, Name, const String& method, Text) = delete;
/// The same with the number appended to the text.
void log(LogCategory category, const String& className, const String& method, const String& text, int number) noexcept;

/// For a program without a console: where lines go then. One for the process, set before anything logs; it may be
/// called on any thread. What it raises is swallowed.
using LogDivert = void (*)(LogCategory category, const String& className, const String& method, const String& text);
void divertLog(LogDivert divert) noexcept;

}  // namespace tessel
