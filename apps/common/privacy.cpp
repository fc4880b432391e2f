// SPDX-License-Identifier: Apache-2.0
#include "apps/common/privacy.h"

#include "libs/base/platform.h"

namespace tessel::privacy {

void hideMemory() noexcept {
    constexpr bool kHidden = NEBRIX_HIDE_MEMORY != 0;
    if constexpr (kHidden) {
        platform::hideFromTracers();
    }
}

}  // namespace tessel::privacy
