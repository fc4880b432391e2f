// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>

class wxMenu;
using GDBusConnection = struct _GDBusConnection;

namespace nebrix::gui {

/// A wxMenu offered to other programs as com.canonical.dbusmenu, at kPath of one connection, for as long as this lives.
///
/// Labels, separators, enabled states and bitmaps are carried over; a menu is flat. GUI thread only; nothing waits for
/// the bus; what a callback raises is logged.
class StatusNotifierMenu {
public:
    static constexpr const char* kPath = "/MenuBar";

    using MakeMenu = std::function<std::unique_ptr<wxMenu>()>;

    /// `makeMenu` is called here, by refresh() and whenever a host is about to show the menu. `chosen` is called from
    /// the event loop with the wx id of a clicked entry; it may show dialogs, and end this object.
    StatusNotifierMenu(GDBusConnection* connection, MakeMenu makeMenu, std::function<void(int id)> chosen);
    StatusNotifierMenu(const StatusNotifierMenu&) = delete;
    StatusNotifierMenu& operator=(const StatusNotifierMenu&) = delete;
    ~StatusNotifierMenu();

    /// Makes the menu anew and, if its entries differ, tells the hosts.
    void refresh();

private:
    class Impl;
    std::unique_ptr<Impl> m_impl;
};

}  // namespace nebrix::gui
