// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>

#include "libs/base/errors.h"
#include "libs/base/string.h"

namespace tessel::zlib {

TESSEL_EXCEPTION(EZip, Exception);

/// What an archive may unpack to, at most, and how long that may take.
struct UnpackLimits {
    std::uint64_t totalBytes = 4ULL << 30U;
    unsigned entries = 65535;
    std::chrono::milliseconds time = std::chrono::minutes(10);
};

/// Archives in the ZIP format, unpacked by the system's unzip program through the shell.
class Zip {
public:
    /// Unpacks the archive and puts the result in destDir's place; true exactly when unzip ended with status 0.
    ///
    /// The work is done in a fresh directory beside destDir, which then takes its name in one step: a failure, or a
    /// kill at any moment, leaves destDir as it was or whole and new, and no unzip behind. Leftovers of kills are
    /// removed by the next call; what cannot be removed is logged and stays.
    ///
    /// Refused, with a logged error and false: a path with a single quote (the shell command does not escape), an
    /// archive with a symbolic link or anything else than files and directories, with a name that leaves the
    /// directory, or beyond the limits. What an archive declares is checked beforehand. What it really unpacks to is
    /// measured while unzip runs: no file grows beyond the largest that is declared, and unzip is killed when time is
    /// up, or all files together are more than is declared. That is seen within a few hundredths of a second, with
    /// tens of thousands of files within one.
    ///
    /// Blocks until unzip has ended, or until *cancelled is true (null: never), which is a failure. Nothing is raised;
    /// after false *why (null: nobody asks) says in words what the log says.
    static bool unzip(const String& archive, const String& destDir, const UnpackLimits& limits = {},
                      const std::atomic<bool>* cancelled = nullptr, String* why = nullptr) noexcept;
};

}  // namespace tessel::zlib
