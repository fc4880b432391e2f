// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/base/string.h"

namespace tessel::view {

/// Without the white space at its end: what isspace(3) tells in the "C" locale. Shares the block.
inline String withoutTrailingSpace(const String& text) noexcept {
    const std::string_view view = text.view();
    const std::size_t last = view.find_last_not_of(" \t\n\v\f\r");
    return text.range(0, last == std::string_view::npos ? 0 : static_cast<unsigned>(last) + 1);
}

}  // namespace tessel::view
