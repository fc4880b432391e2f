// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/base/raisesite.h"

namespace tessel {

/// Reports a broken invariant on standard error as "file:line: assertion failed: text" and aborts the process.
/// Takes no lock and allocates nothing, so that it may be called in any state.
[[noreturn]] void assertionFailed(const char* text, RaiseSite site) noexcept;

}  // namespace tessel

/// Programming errors end the process, in every build type. `text` is the invariant as users see it.
#define TESSEL_ASSERT(condition, text, site)           \
    do {                                               \
        if (!(condition)) [[unlikely]] {               \
            ::tessel::assertionFailed((text), (site)); \
        }                                              \
    } while (false)
