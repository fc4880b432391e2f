// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "apps/nebrixclient/view/logline.h"

namespace tessel::view {

/// What is looked for in a log file.
struct LogQuery {
    String text;                               ///< whatever the case of its ASCII letters; empty for nothing
    int category = LogFilter::kAllCategories;  ///< a LogCategory, whose lines and their continuations count alone
};

/// A line of a log file.
struct LogPlace {
    std::uint64_t offset;  ///< of its first byte
    std::uint64_t line;    ///< its number in the file, from 1
};

/// The first whole line at or after `from` that has what is looked for; without one the first in front of it. Reads the
/// file from its beginning, a mebibyte at a time; a line that is longer is searched in parts.
///
/// `goOn` is asked for each piece; once it says no the search ends without a result, as it does where the file cannot
/// be read. The descriptor's own place in the file is left alone.
std::optional<LogPlace> searchLog(int descriptor, const LogQuery& query, std::uint64_t from,
                                  const std::function<bool()>& goOn);

}  // namespace tessel::view
