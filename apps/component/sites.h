#pragma once

#include "libs/base/raisesite.h"

/// Where loading a component raises and catches: lines that administrators know from logs, kept here whatever becomes
/// of the code.
namespace tessel::sites {

inline constexpr RaiseSite kModuleLoad{"apps/nebrixclient/moduleloader.h", 28};
inline constexpr RaiseSite kPluginOptionalCatch{"apps/nebrixclient/plugindllinstance", 45};
inline constexpr RaiseSite kPluginCreate{"apps/nebrixclient/plugindllinstance", 56};

}  // namespace tessel::sites
