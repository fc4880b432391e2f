// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <ctime>
#include <optional>

#include "libs/base/string.h"

namespace tessel {

/// A moment, to the second, shown in the machine's local time unless UTC is asked for. A plain value.
class DateTime {
public:
    /// Seconds since 1970 in UTC.
    explicit DateTime(std::time_t seconds) noexcept : m_seconds(seconds) {}
    static DateTime now() noexcept { return DateTime(std::time(nullptr)); }

    /// Characters that toString() writes, up to the year 9999.
    static constexpr unsigned kTextLength = 24;
    /// The moment of such a text; nothing else is one.
    static std::optional<DateTime> parse(const String& text);

    [[nodiscard]] std::time_t seconds() const noexcept { return m_seconds; }
    /// ISO 8601 with the offset from UTC, such as "2024-02-03T09:05:07+0100". Never raises for any moment.
    [[nodiscard]] String toString() const;
    /// In strftime's format; cut at 255 bytes.
    [[nodiscard]] String toString(const char* format) const;
    /// The same in UTC.
    [[nodiscard]] String toUtcString(const char* format) const;

private:
    std::time_t m_seconds;
};

}  // namespace tessel
