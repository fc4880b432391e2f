// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/view/panelgeometry.h"

#include <algorithm>

namespace tessel::view {

int panelWidth(int best, int minimum) noexcept {
    constexpr int kStep = 100;
    return best > minimum ? best / kStep * kStep + kStep : best;
}

std::optional<Size> panelSize(Size current, Size best, Size most, int minimum, bool first) noexcept {
    Size wanted{panelWidth(best.width, minimum), best.height};
    if (!first) {
        wanted = {std::max(wanted.width, current.width), std::max(wanted.height, current.height)};
    }
    wanted = {std::min(wanted.width, most.width), std::min(wanted.height, most.height)};
    return first || wanted != current ? std::optional(wanted) : std::nullopt;
}

Point panelPosition(const Rect& workArea, int width) noexcept {
    return {workArea.x + workArea.width - width - 1, workArea.y};
}

}  // namespace tessel::view
