// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "apps/nebrixclient/account.h"
#include "libs/base/exception.h"

namespace tessel {

/// A file that settings are, or that they name, cannot be used. Its facts are the path, why in a clause, and as the
/// cause an EndCause.
TESSEL_EXCEPTION(ESettingsFile, Exception);

}  // namespace tessel
