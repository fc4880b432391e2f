#pragma once

#include <functional>
#include <memory>

class wxMenu;

namespace nebrix::gui {

/// A wxMenu offered to other programs as com.canonical.dbusmenu on the session bus, at kPath, for as long as this
/// lives.
///
/// Labels, separators, sub-menus, check marks, enabled states and bitmaps are carried over. GUI thread only; nothing
/// waits for the bus; what a callback raises is logged.
class StatusNotifierMenu {
public:
    static constexpr const char* kPath = "/MenuBar";

    using MakeMenu = std::function<std::unique_ptr<wxMenu>()>;

    /// `makeMenu` is called here and whenever the menu is about to be shown; the entries are replaced only when they
    /// differ. It may return null for an empty menu. `chosen` is called from the event loop with the wx id of a
    /// clicked entry; it may show dialogs, and end this object.
    StatusNotifierMenu(MakeMenu makeMenu, std::function<void(int id)> chosen);
    StatusNotifierMenu(const StatusNotifierMenu&) = delete;
    StatusNotifierMenu& operator=(const StatusNotifierMenu&) = delete;
    ~StatusNotifierMenu();

private:
    class Impl;
    std::unique_ptr<Impl> m_impl;
};

}  // namespace nebrix::gui
