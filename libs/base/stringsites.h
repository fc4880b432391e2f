// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/base/raisesite.h"

/// Where the assertions of strings and blocks say that they stand.
namespace tessel::sites {

inline constexpr RaiseSite kStringText{"libs/base/string", 38};
inline constexpr RaiseSite kStringView{"libs/base/string", 46};
inline constexpr RaiseSite kStringReserve{"libs/base/string", 112};
inline constexpr RaiseSite kStringReserveNew{"libs/base/string", 124};

inline constexpr RaiseSite kPoolUpperSize{"libs/base/memoryblockpool", 27};
inline constexpr RaiseSite kPoolUpperSizeFits{"libs/base/memoryblockpool", 28};
inline constexpr RaiseSite kPoolSlot{"libs/base/memoryblockpool", 52};

}  // namespace tessel::sites
