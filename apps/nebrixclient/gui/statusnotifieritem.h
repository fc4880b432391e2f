#pragma once

#include <functional>
#include <memory>
#include <vector>

#include <wx/bitmap.h>
#include <wx/menu.h>
#include <wx/string.h>

namespace nebrix::gui {

/// A tray icon for desktops whose tray speaks D-Bus: an org.kde.StatusNotifierItem (freedesktop.org StatusNotifierItem)
/// with its menu as com.canonical.dbusmenu.
///
/// While shown, it registers with every watcher that appears, once each: one that comes late, or comes back after a
/// restart, gets the icon then. Without a session bus nothing happens. The host draws the menu, on the left click as on
/// the right one (ItemIsMenu is true). GUI thread only; nothing waits for the bus; what a callback raises is logged.
class StatusNotifierItem {
public:
    /// `id` is the program's name, the same in every run. `activated` is called from the event loop when a host asks
    /// the program itself to show its menu, which happens with hosts that cannot draw menus.
    StatusNotifierItem(const wxString& id, const wxString& title, std::function<void()> activated = {});
    StatusNotifierItem(const StatusNotifierItem&) = delete;
    StatusNotifierItem& operator=(const StatusNotifierItem&) = delete;
    /// Hides. No callback follows. May be called from within one.
    ~StatusNotifierItem();

    /// The same picture in several sizes; the host takes the nearest. Bitmaps that are not valid are left out.
    void setIcons(const std::vector<wxBitmap>& icons);
    void setToolTip(const wxString& toolTip);
    /// `makeMenu` is called at show() and whenever a host is about to show the menu; the host hears of a change only
    /// when the entries differ. It may return null for no menu. `chosen` is called from the event loop with the wx id
    /// of the entry that was clicked, and may show dialogs.
    void setMenu(std::function<std::unique_ptr<wxMenu>()> makeMenu, std::function<void(int id)> chosen);

    /// Does nothing when shown already.
    void show();
    /// Gives up the bus name and the exported objects, at which hosts drop the icon. Does nothing when hidden.
    void hide();
    [[nodiscard]] bool isShown() const;
    /// Whether a watcher has accepted the item.
    [[nodiscard]] bool isRegistered() const;

private:
    class Impl;
    std::unique_ptr<Impl> m_impl;
};

}  // namespace nebrix::gui
