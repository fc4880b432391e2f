// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>

#include "libs/base/string.h"

/// What the windows show, as plain classes without a display: they give translation keys, never translated text.
/// Unless a class says otherwise, its objects belong to the GUI thread.
namespace tessel::view {

/// The key for a driver status; "" for the session's end and for numbers that are none.
const char* statusKey(int status) noexcept;

/// What one status line of the tunnel plug-in becomes.
struct VpnPhrase {
    const char* key = "";
    std::optional<String> address;  ///< what goes into the key's "%s"; without it the key has none
    bool busy = false;              ///< shown with moving dots
};

/// The phrase for a line, recognised by its beginning; nothing for a line that changes nothing.
std::optional<VpnPhrase> vpnPhrase(const String& line);

}  // namespace tessel::view
