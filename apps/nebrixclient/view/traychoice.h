#pragma once

namespace tessel::view {

/// Where the program's icon and menu are found.
enum class TrayKind {
    X11,             ///< in the tray of the X11 desktop
    StatusNotifier,  ///< with a host on the session bus
    Window           ///< in an ordinary window, so that the program can always be reached
};

/// The first kind that this desktop offers, in the enumeration's order. Any thread may call.
TrayKind chooseTray(bool x11Tray, bool statusNotifierHost) noexcept;

}  // namespace tessel::view
