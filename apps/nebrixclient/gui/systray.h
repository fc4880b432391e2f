#pragma once

#include <wx/taskbar.h>

#include <memory>

#include "apps/nebrixclient/gui/statusnotifieritem.h"
#include "apps/nebrixclient/view/traychoice.h"

/// The commands of the tray menu; about and quit have their stock ids.
enum ClientCommandId : int { ID_COMMAND_LOGS = 10001, ID_COMMAND_SETTINGS = 10002 };

/// The tray icon with its menu of commands, on whichever kind of tray the desktop has: the X11 tray through
/// wxTaskBarIcon, else a status notifier item. Acts on the main frame. GUI thread only.
class NebrixSystrayIcon final : public wxTaskBarIcon {
public:
    NebrixSystrayIcon();
    ~NebrixSystrayIcon() override;

    /// Shows the icon on this kind of tray and takes it off the other; on none of them for TrayKind::Window. A status
    /// notifier item that is there waits for the next watcher meanwhile, so that hosts see one item and not two.
    void present(tessel::view::TrayKind kind);
    /// Also while a status notifier item waits for a watcher.
    [[nodiscard]] bool isInstalled() const;
    bool RemoveIcon() override;

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
    void place(tessel::view::TrayKind kind, bool keepsNotifierItem);
    void showOnX11();
    void showAsNotifierItem();

    std::unique_ptr<nebrix::gui::StatusNotifierItem> m_notifierItem;  // none on an X11 tray

    wxDECLARE_EVENT_TABLE();
};
