// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>

#include "libs/base/string.h"

namespace tessel::tls {

/// Whether the first private key of the PEM text is encrypted, as PKCS #8 (RFC 5958) or in the older way (RFC 1421).
bool isEncryptedPrivateKey(const char* pem);

/// Asks for a password on the process's terminal, which does not show what is typed, and waits for it. Nothing when
/// the process has no terminal, or when whoever sits there interrupts.
std::optional<String> askPassword(const String& prompt);

}  // namespace tessel::tls
