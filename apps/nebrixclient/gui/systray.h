// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <wx/taskbar.h>

#include <functional>
#include <memory>

#include "apps/nebrixclient/gui/deferredcall.h"
#include "apps/nebrixclient/gui/modalstack.h"
#include "apps/nebrixclient/gui/statusnotifieritem.h"
#include "apps/nebrixclient/view/traychoice.h"

/// The commands of the tray menu; about and quit have their stock ids.
enum ClientCommandId : int { ID_COMMAND_LOGS = 10001, ID_COMMAND_SETTINGS = 10002 };

/// The tray icon with its menu of commands, on whichever kind of tray the desktop has: a status notifier item, or the
/// X11 tray through wxTaskBarIcon. Acts on the main frame. GUI thread only.
///
/// While a dialog is open, what would open another window is shown as unavailable; to quit never is.
class NebrixSystrayIcon final : public wxTaskBarIcon {
public:
    /// `overdueChanged` is called from the event loop when isOverdue() has changed.
    explicit NebrixSystrayIcon(std::function<void()> overdueChanged);
    ~NebrixSystrayIcon() override;

    /// Shows the icon on this kind of tray and takes it off the other; on none of them for TrayKind::Window. A status
    /// notifier item that is there waits for a watcher meanwhile. `x11Tray`: the X11 tray's manager window; the icon of
    /// one that is gone went with it, and is made anew for the next.
    void present(tessel::view::TrayKind kind, unsigned long x11Tray);
    /// Whether there is a host of status notifier items that does not take this one.
    [[nodiscard]] bool isOverdue() const { return m_notifierItem != nullptr && m_notifierItem->isOverdue(); }
    /// Also while a status notifier item waits for a watcher.
    [[nodiscard]] bool isInstalled() const;
    bool RemoveIcon() override;

    bool PopupMenu(wxMenu* menu) override;
    /// Made anew each time; the caller takes it over.
    wxMenu* CreatePopupMenu() override;
    /// Carries a command of the menu out.
    void command(int id);

private:
    void OnMenuConf(wxCommandEvent& event);
    void OnMenuLogs(wxCommandEvent& event);
    void OnAbout(wxCommandEvent& event);
    void OnMenuStop(wxCommandEvent& event);
    void OnLeftUp(wxTaskBarIconEvent& event);
    void place(tessel::view::TrayKind kind, unsigned long x11Tray, bool keepsNotifierItem);
    void showOnX11(unsigned long x11Tray);
    void makeNotifierItem();
    static bool popUp(wxMenu& menu, const wxPoint& place);
    void onMenuWanted(const wxPoint& place);
    void dialogsChanged();

    const std::function<void()> m_overdueChanged;
    nebrix::gui::DeferredCall m_dialogsChanged;
    nebrix::gui::ModalStack m_modals;
    std::unique_ptr<nebrix::gui::StatusNotifierItem> m_notifierItem;  // none before a host was seen
    std::shared_ptr<void> m_trayWidgets;                              // of the X11 icon
    unsigned long m_x11Tray = 0;                                      // that the icon is in

    wxDECLARE_EVENT_TABLE();
};
