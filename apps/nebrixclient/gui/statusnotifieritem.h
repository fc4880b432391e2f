// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include <wx/bitmap.h>
#include <wx/gdicmn.h>
#include <wx/menu.h>
#include <wx/string.h>

namespace nebrix::gui {

/// A tray icon for desktops whose tray speaks D-Bus: an org.kde.StatusNotifierItem (freedesktop.org StatusNotifierItem)
/// with its menu as com.canonical.dbusmenu.
///
/// While it lives it registers with every watcher that appears: one that comes late, or comes back after a restart,
/// gets the icon then. A watcher that does not list it afterwards, or drops it, is asked again. Without a session bus
/// nothing happens. GUI thread only; nothing waits for the bus; what a callback raises is logged.
///
/// It has a connection to the bus of its own and registers by its path there. Hosts can then neither hear of a name
/// while they already look at the item, nor keep the icon when the connection has closed.
///
/// The host draws the menu, on the left click as on the right one: ItemIsMenu is true, and there is no method Activate,
/// since some hosts call it nevertheless and open the menu when that fails.
class StatusNotifierItem {
public:
    static constexpr int kPatience = 3000;  ///< milliseconds that a watcher has until the item is overdue

    struct Content {
        wxString id;                  ///< the program's name, the same in every run
        wxString title;               ///< also the tool tip
        std::vector<wxBitmap> icons;  ///< the same picture in several sizes; those that are not valid are left out
    };
    struct Callbacks {
        /// Called whenever a host is about to show the menu, and by menuChanged(). Null for no menu.
        std::function<std::unique_ptr<wxMenu>()> makeMenu;
        /// Called from the event loop with the wx id of the entry that was clicked. May show dialogs.
        std::function<void(int id)> chosen;
        /// Called from the event loop when a host wants the program itself to show its menu, at this place of the
        /// screen, because it cannot draw one.
        std::function<void(const wxPoint& place)> menuWanted;
        /// Called from the event loop after isOverdue() has changed.
        std::function<void()> changed;
    };

    StatusNotifierItem(const Content& content, Callbacks callbacks);
    StatusNotifierItem(const StatusNotifierItem&) = delete;
    StatusNotifierItem& operator=(const StatusNotifierItem&) = delete;
    /// Hosts drop the icon. No callback follows. May be called from within one.
    ~StatusNotifierItem();

    /// Tells the hosts if the entries are others now.
    void menuChanged();
    /// Whether there is a watcher that has not listed the item within kPatience; it is asked on, and may list it yet.
    [[nodiscard]] bool isOverdue() const;

private:
    class Impl;
    std::unique_ptr<Impl> m_impl;
};

}  // namespace nebrix::gui
