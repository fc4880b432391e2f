// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/base/raisesite.h"

/// Where loading a component raises and catches: lines that administrators know from logs, kept here whatever becomes
/// of the code.
namespace tessel::sites {

inline constexpr RaiseSite kModuleLoad{"apps/nebrixclient/moduleloader.h", 28};
inline constexpr RaiseSite kPluginOptionalCatch{"apps/nebrixclient/plugindllinstance", 45};
inline constexpr RaiseSite kPluginCreate{"apps/nebrixclient/plugindllinstance", 56};

inline constexpr const char* kChannel = "apps/component/channel";
inline constexpr RaiseSite kChannelMake{kChannel, 62};
inline constexpr RaiseSite kChannelSend{kChannel, 86};
inline constexpr RaiseSite kChannelReceive{kChannel, 119};
inline constexpr RaiseSite kChannelCut{kChannel, 116};
inline constexpr RaiseSite kMessageTooLong{"apps/component/message", 14};
inline constexpr RaiseSite kMessageField{"apps/component/message", 36};
inline constexpr RaiseSite kCallOutOfTurn{"apps/nebrix-component-host/callserver", 48};
inline constexpr RaiseSite kCallArgument{"apps/nebrix-component-host/callserver", 41};

}  // namespace tessel::sites
