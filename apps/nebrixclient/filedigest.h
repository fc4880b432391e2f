// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/base/memory.h"
#include "libs/openssl/digest.h"

namespace tessel {

/// Feeds the whole file to the digest in blocks of at most 1024 bytes and gives the digest's bytes.
/// Raises EFile when the file cannot be opened or read to its end.
Memory digestFile(const String& path, tls::EVPDigest& digest);

}  // namespace tessel
