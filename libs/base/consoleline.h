// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <ctime>
#include <string>

#include "libs/base/log.h"

namespace tessel {

/// The fixed text of a category in a line, such as "TRACE".
const char* categoryLabel(LogCategory category) noexcept;

/// Appends a line's body to the text: "[thread] LABEL Class.method text", or "[thread] LABEL Class: text" without a
/// method. What is not printable is escaped (printable.h) and the body ends in "..." where it would grow beyond
/// `longest` bytes.
/// One reservation in the ordinary case.
void appendBody(std::string& text, LogCategory category, const String& threadId, const String& className,
                const String& method, const String& message, unsigned longest);

/// Writes the moments in front of lines. Used by one thread at a time.
class LineClock {
public:
    /// Appends now, in local time, as "dd-mm-yy HH:MM:SS.m ", the milliseconds m without leading zeros.
    void append(std::string& text);

private:
    // The text of the last second written, because asking for the local time is dear.
    std::time_t m_second = -1;
    std::string m_text;
};

}  // namespace tessel
