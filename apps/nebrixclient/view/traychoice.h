// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace tessel::view {

/// Where the program's icon and menu are found.
enum class TrayKind {
    Undecided,       ///< nobody knows yet: what is shown stays
    StatusNotifier,  ///< with a host on the session bus
    X11,             ///< in the tray of the X11 desktop
    Window           ///< in an ordinary window, so that the program can always be reached
};

/// What the desktop offers, and what became of it.
struct TrayOffers {
    bool statusNotifierHost = false;
    bool hostKnown = false;    ///< the question for such a host was answered, or has waited long enough
    bool itemOverdue = false;  ///< there is a host, and it does not take the item
    bool x11Tray = false;
};

/// A host first, since desktops with one show X11 icons badly or not at all. Any thread may call.
TrayKind chooseTray(const TrayOffers& offers) noexcept;

}  // namespace tessel::view
