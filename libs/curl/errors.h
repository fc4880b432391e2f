// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/base/exception.h"

namespace tessel {

/// The HTTP session cannot be set up.
TESSEL_EXCEPTION(ECurl, Exception);

}  // namespace tessel
