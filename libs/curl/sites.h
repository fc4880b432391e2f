// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/base/raisesite.h"

/// Where the exceptions of libs/curl say that they were raised and caught.
namespace tessel::curlsites {

inline constexpr RaiseSite kShareInit{"libs/curl/curlwrapper", 44};
inline constexpr RaiseSite kBodyHandler{"libs/curl/curlwrapper", 148};
inline constexpr RaiseSite kEasyInit{"libs/curl/curlwrapper", 202};
inline constexpr RaiseSite kProxyType{"libs/curl/curlwrapper", 303};

}  // namespace tessel::curlsites
