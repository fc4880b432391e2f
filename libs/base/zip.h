#pragma once

#include <atomic>
#include <cstdint>

#include "libs/base/errors.h"
#include "libs/base/string.h"

namespace tessel::zlib {

TESSEL_EXCEPTION(EZip, Exception);

/// What an archive may unpack to, at most.
struct UnpackLimits {
    std::uint64_t totalBytes = 4ULL << 30U;
    unsigned entries = 65535;
};

/// Archives in the ZIP format, unpacked by the system's unzip program through the shell.
class Zip {
public:
    /// Unpacks the archive and puts the result in destDir's place; true exactly when unzip ended with status 0.
    ///
    /// The work is done in a fresh directory beside destDir, which then takes its name in one step: a failure, or a
    /// kill at any moment, leaves destDir as it was or whole and new. Refused, with a logged error and false: a path
    /// with a single quote (the shell command does not escape), an archive with a symbolic link or anything else
    /// than files and directories, with a name that leaves the directory, or beyond the limits. Blocks until unzip
    /// has ended, or until *cancelled is true (null: never), which is a failure; nothing is raised.
    static bool unzip(const String& archive, const String& destDir, const UnpackLimits& limits = {},
                      const std::atomic<bool>* cancelled = nullptr) noexcept;
};

}  // namespace tessel::zlib
