// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/base/exception.h"

namespace tessel::tls {

/// An operation of the cryptographic library failed. The message is the class name, followed by ": " and the
/// library's own reason when it gives one; it never holds key material.
TESSEL_EXCEPTION(ELibContext, Exception);
/// A digest is unknown or cannot be computed.
TESSEL_EXCEPTION(EEVPDigest, ELibContext);

}  // namespace tessel::tls
