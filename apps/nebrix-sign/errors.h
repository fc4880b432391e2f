// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/base/errors.h"

namespace tessel::sign {

/// A key, a library or an archive cannot be made or used; the message is a sentence for the user and holds no key
/// material.
TESSEL_EXCEPTION(ESign, Exception);

namespace sites {
inline constexpr RaiseSite kArchive{"apps/nebrix-sign/ziparchive", 84};
inline constexpr RaiseSite kBadKey{"apps/nebrix-sign/keyfile", 41};
inline constexpr RaiseSite kEncryptedKey{"apps/nebrix-sign/keyfile", 48};
inline constexpr RaiseSite kFileExists{"apps/nebrix-sign/files", 58};
inline constexpr RaiseSite kCannotWrite{"apps/nebrix-sign/files", 66};
inline constexpr RaiseSite kCannotRead{"apps/nebrix-sign/files", 81};
inline constexpr RaiseSite kRefusedDigest{"apps/nebrix-sign/signing", 34};
inline constexpr RaiseSite kBadSignatureFile{"apps/nebrix-sign/signing", 46};
inline constexpr RaiseSite kBadName{"apps/nebrix-sign/packing", 112};
inline constexpr RaiseSite kNotThatLibrary{"apps/nebrix-sign/packing", 124};
inline constexpr RaiseSite kOtherVersion{"apps/nebrix-sign/packing", 128};
inline constexpr RaiseSite kOtherKey{"apps/nebrix-sign/packing", 132};
inline constexpr RaiseSite kNoScratch{"apps/nebrix-sign/scratchdirectory", 14};
inline constexpr RaiseSite kNoProbe{"apps/nebrix-sign/check/proberun", 60};
inline constexpr RaiseSite kNothingToCheck{"apps/nebrix-sign/componentkind", 117};
inline constexpr RaiseSite kBadComponentName{"apps/nebrix-sign/author/newcomponent", 74};
inline constexpr RaiseSite kNoClient{"apps/nebrix-sign/author/trialclient", 105};
inline constexpr RaiseSite kNoComponent{"apps/nebrix-sign/author/trial", 58};
inline constexpr RaiseSite kNoGateway{"apps/nebrix-sign/author/trial", 66};
inline constexpr RaiseSite kOtherClientKey{"apps/nebrix-sign/author/trial", 72};
}  // namespace sites

}  // namespace tessel::sign
