// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/view/traychoice.h"

namespace tessel::view {

TrayKind chooseTray(const TrayOffers& offers) noexcept {
    if (offers.statusNotifierHost && !offers.itemOverdue) {
        return TrayKind::StatusNotifier;
    }
    if (!offers.hostKnown) {
        return TrayKind::Undecided;
    }
    return offers.x11Tray ? TrayKind::X11 : TrayKind::Window;
}

}  // namespace tessel::view
