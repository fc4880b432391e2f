// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "libs/base/log.h"
#include "libs/base/string.h"

namespace tessel::view {

/// One line of the log file, taken apart: "dd-mm-yy HH:MM:SS.m [thread] LABEL Class.method text". All strings share one
/// block. The bytes are as in the file, UTF-8 or not.
struct LogLine {
    /// The category of a line that has not this form; it continues the one before.
    static constexpr int kContinuation = -1;

    String time;
    String thread;
    int category = kContinuation;  ///< a LogCategory, or kContinuation
    String text;                   ///< "Class.method text"; the whole line of a continuation
    String whole;                  ///< without the line feed

    /// Copies the bytes. Never fails.
    static LogLine parse(std::string_view line);
    /// The category alone, without copying anything.
    static int categoryOf(std::string_view line);
};

/// A snapshot of lines and which of them are shown. Used by one thread at a time.
class LogFilter {
public:
    static constexpr int kAllCategories = -1;

    /// Replaces the snapshot. Takes time with its length, as setCategory() does.
    void setLines(std::vector<LogLine> lines);
    /// Shows the lines of one LogCategory, each with its continuations, or all.
    void setCategory(int category);

    /// The lines that are shown, by their position among those.
    [[nodiscard]] std::size_t size() const noexcept { return m_shown.size(); }
    [[nodiscard]] const LogLine& line(std::size_t position) const { return m_lines[m_shown[position]]; }

    /// Where such a line stands in the snapshot.
    [[nodiscard]] std::size_t position(std::size_t shown) const { return m_shown[shown]; }

private:
    void choose();

    int m_category = kAllCategories;
    std::vector<LogLine> m_lines;
    std::vector<std::size_t> m_shown;  // ascending positions in m_lines
};

/// The lines as they stood in the file, each with its line feed.
String asText(const std::vector<LogLine>& lines);

}  // namespace tessel::view
