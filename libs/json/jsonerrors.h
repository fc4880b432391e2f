// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/base/errors.h"

namespace tessel::json {

/// A text is not JSON, or a value cannot be converted to the type asked for.
TESSEL_EXCEPTION(EJsonError, Exception);
/// A reader has not the member, the element or the kind of value asked for.
TESSEL_EXCEPTION(EJsonKeyReader, EKeyReader);

/// Where this module raises. The numbers are seen outside and never change.
namespace sites {
inline constexpr RaiseSite kUnknownType{"libs/json/JSONWrapper", 52};
inline constexpr RaiseSite kNotConvertible{"libs/json/JSONWrapper", 97};
inline constexpr RaiseSite kNotJson{"libs/json/JSONWrapper", 235};
inline constexpr RaiseSite kArrayOverrun{"libs/json/JSONReader", 41};
inline constexpr RaiseSite kUnsupportedRead{"libs/json/JSONReader", 43};
inline constexpr RaiseSite kNotNull{"libs/json/JSONReader", 60};
inline constexpr RaiseSite kNotArray{"libs/json/JSONReader", 64};
inline constexpr RaiseSite kNotObject{"libs/json/JSONReader", 68};
inline constexpr RaiseSite kMissingMember{"libs/json/JSONReader", 76};
inline constexpr RaiseSite kNoInteger{"libs/json/JSONReader", 91};
inline constexpr RaiseSite kNoBoolean{"libs/json/JSONReader", 92};
inline constexpr RaiseSite kNoString{"libs/json/JSONReader", 93};
inline constexpr RaiseSite kNoUnsigned{"libs/json/JSONReader", 94};
inline constexpr RaiseSite kNoReader{"libs/json/JSONReader", 112};
}  // namespace sites

}  // namespace tessel::json
