// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "libs/base/string.h"
#include "libs/base/zip.h"

namespace tessel::zlib {

/// What an archive's central directory declares.
struct ZipSummary {
    unsigned entries = 0;
    std::uint64_t totalBytes = 0;
    std::uint64_t largestFile = 0;
};

/// Reads the central directory of a ZIP archive (APPNOTE.TXT 6.3, sections 4.3.12 and 4.3.16) and checks every entry,
/// without unpacking anything. Bounded: the directory may take 16 MiB at most, and time grows in line with it.
///
/// Raises EZip, whose message says in words what is refused: what is no such directory; more entries or bytes than
/// the limits; an empty or absolute name, one with a ".." part, a backslash or a control byte; an entry that is
/// neither file nor directory. Sizes beyond 4 GiB are read from the ZIP64 extra field; an archive that needs the ZIP64
/// end record (65535 entries and more) is refused.
///
/// It is what the archive says of itself. What unpacking then yields is checked anew.
ZipSummary checkArchive(const String& path, const UnpackLimits& limits);

}  // namespace tessel::zlib
