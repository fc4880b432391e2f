// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/base/raisesite.h"

/// Where the exceptions of libs/http say that they were raised.
namespace tessel::http::sites {

inline constexpr RaiseSite kUriPattern{"libs/http/uri", 41};
inline constexpr RaiseSite kUriTooLong{"libs/http/uri", 58};
inline constexpr RaiseSite kUriNoMatch{"libs/http/uri", 63};
inline constexpr RaiseSite kContentLength{"libs/http/header", 72};
inline constexpr RaiseSite kSetCookieForm{"libs/http/setcookie", 37};
inline constexpr RaiseSite kSetCookieField{"libs/http/setcookie", 84};

}  // namespace tessel::http::sites
