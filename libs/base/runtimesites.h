// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/base/raisesite.h"

/// Where the exceptions of the runtime half of this folder say that they were raised, and where its handlers say
/// that they stand.
namespace tessel::sites {

inline constexpr RaiseSite kNullObject{"libs/base/gcobject", 25};

inline constexpr RaiseSite kConfMissingKey{"libs/base/confhelper", 192};
inline constexpr RaiseSite kConfMissingOptional{"libs/base/confhelper", 264};
inline constexpr RaiseSite kConfNotSaved{"libs/base/confhelper", 31};

inline constexpr RaiseSite kReaderDefault{"libs/base/serialize", 20};
inline constexpr RaiseSite kKeyReaderDefault{"libs/base/serialize", 61};

inline constexpr RaiseSite kFileRead{"libs/base/file", 118};
inline constexpr RaiseSite kFileTooLong{"libs/base/file", 125};
inline constexpr RaiseSite kFileSeek{"libs/base/file", 131};
inline constexpr RaiseSite kFileShort{"libs/base/file", 140};
inline constexpr RaiseSite kFileWrite{"libs/base/file", 152};
inline constexpr RaiseSite kReadAllFile{"libs/base/file", 201};
inline constexpr RaiseSite kReadAllFileLimit{"libs/base/file", 206};
inline constexpr RaiseSite kWriteAllFile{"libs/base/file", 223};
inline constexpr RaiseSite kWriteAtomically{"libs/base/file", 241};
inline constexpr RaiseSite kCopyFrom{"libs/base/file", 262};
inline constexpr RaiseSite kCopyTo{"libs/base/file", 266};
inline constexpr RaiseSite kMove{"libs/base/file", 289};
inline constexpr RaiseSite kRemove{"libs/base/file", 298};
inline constexpr RaiseSite kRemoveTree{"libs/base/file", 306};
inline constexpr RaiseSite kCreateDirectory{"libs/base/file", 329};
inline constexpr RaiseSite kSetReadOnly{"libs/base/file", 347};

inline constexpr RaiseSite kZipFormat{"libs/base/zip", 44};
inline constexpr RaiseSite kZipEntry{"libs/base/zip", 71};
inline constexpr RaiseSite kZipUnpacked{"libs/base/zip", 103};
inline constexpr RaiseSite kZipUnpack{"libs/base/zip", 118};
inline constexpr RaiseSite kZipHandler{"libs/base/zip", 140};

inline constexpr RaiseSite kThreadLaunch{"libs/base/thread", 61};
inline constexpr RaiseSite kThreadHandler{"libs/base/thread", 96};

}  // namespace tessel::sites
