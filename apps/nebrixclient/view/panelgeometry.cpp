#include "apps/nebrixclient/view/panelgeometry.h"

#include <algorithm>

namespace tessel::view {

int panelWidth(int best, int minimum) noexcept {
    constexpr int kStep = 100;
    return best > minimum ? best / kStep * kStep + kStep : best;
}

std::optional<Size> panelSize(Size current, Size best, int minimum, bool first) noexcept {
    const Size wanted{panelWidth(best.width, minimum), best.height};
    if (first) {
        return wanted;
    }
    if (wanted.width <= current.width && current.height >= wanted.height) {
        return std::nullopt;
    }
    return Size{std::max(wanted.width, current.width), std::max(wanted.height, current.height)};
}

Point panelPosition(const Rect& workArea, int width) noexcept {
    return {workArea.x + workArea.width - width - 1, workArea.y};
}

}  // namespace tessel::view
