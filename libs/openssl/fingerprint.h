// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/base/memory.h"
#include "libs/base/string.h"

// SHA-256 fingerprints as people read, compare and copy them. Programs keep them in lower-case hexadecimal.
namespace tessel::tls {

/// The 32 bytes of a fingerprint that somebody typed or copied: 64 hexadecimal digits in either case, with colons and
/// blanks anywhere between them. Nothing for any other text.
Memory fingerprintBytes(const String& text);

/// Pairs of upper-case digits with colons between them, as openssl(1) prints it: "3A:0F:...". The text itself when it
/// is no fingerprint.
String fingerprintText(const String& hex);

}  // namespace tessel::tls
