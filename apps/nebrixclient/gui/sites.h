// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/base/raisesite.h"

/// Where the windows raise and catch: fixed lines for the log, whatever becomes of the code.
namespace nebrix::gui::sites {

inline constexpr tessel::RaiseSite kUnhandled{"apps/nebrixclient/nebrixclientgui", 150};
inline constexpr tessel::RaiseSite kSaveConfigurationCatch{"apps/nebrixclient/mainframe", 120};
inline constexpr tessel::RaiseSite kCallbackCatch{"apps/nebrixclient/gui/deferredcall", 18};

}  // namespace nebrix::gui::sites
