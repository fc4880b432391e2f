// SPDX-License-Identifier: Apache-2.0
#include "libs/base/assertion.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace tessel {

void assertionFailed(const char* text, RaiseSite site) noexcept {
    char line[512];
    const int length = std::snprintf(line, sizeof line, "%s:%d: assertion failed: %s\n", site.file, site.line, text);
    if (length > 0) {
        const auto bytes = static_cast<unsigned>(length) < sizeof line ? static_cast<unsigned>(length)
                                                                       : static_cast<unsigned>(sizeof line - 1);
        // There is nothing to do about a standard error that cannot be written.
        [[maybe_unused]] const auto written = ::write(STDERR_FILENO, line, bytes);
    }
    std::abort();
}

}  // namespace tessel
