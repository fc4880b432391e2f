#include "apps/nebrixclient/view/traychoice.h"

namespace tessel::view {

TrayKind chooseTray(bool x11Tray, bool statusNotifierHost) noexcept {
    if (x11Tray) {
        return TrayKind::X11;
    }
    return statusNotifierHost ? TrayKind::StatusNotifier : TrayKind::Window;
}

}  // namespace tessel::view
