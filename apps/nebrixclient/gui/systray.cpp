// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/gui/systray.h"

#include <wx/artprov.h>
#include <wx/dialog.h>
#include <wx/intl.h>
#include <wx/menu.h>
#include <wx/stockitem.h>

#include <utility>

#include "apps/nebrixclient/gui/artprovider.h"
#include "apps/nebrixclient/gui/desktop.h"
#include "apps/nebrixclient/gui/mainframe.h"

using tessel::view::TrayKind;

namespace {

constexpr const char* kToolTip = "TarnClient";
constexpr const char* kIconId = "tarn-tray-logo";

void append(wxMenu& menu, int id, const wxString& label, const char* image, bool enabled) {
    auto* const item = new wxMenuItem(&menu, id, label);
    item->SetBitmap(wxArtProvider::GetBitmapBundle(image, wxART_OTHER));
    menu.Append(item);
    item->Enable(enabled);
    nebrix::gui::desktop::hideShortcut(*item);
}

}  // namespace

// GTK reports a left click when the button goes down, and never its release.
wxBEGIN_EVENT_TABLE(NebrixSystrayIcon, wxTaskBarIcon)
EVT_MENU(ID_COMMAND_SETTINGS, NebrixSystrayIcon::OnMenuConf)
EVT_MENU(ID_COMMAND_LOGS, NebrixSystrayIcon::OnMenuLogs)
EVT_MENU(wxID_ABOUT, NebrixSystrayIcon::OnAbout)
EVT_MENU(wxID_EXIT, NebrixSystrayIcon::OnMenuStop)
#ifdef __WXGTK__
EVT_TASKBAR_LEFT_DOWN(NebrixSystrayIcon::OnLeftUp)
#else
EVT_TASKBAR_LEFT_UP(NebrixSystrayIcon::OnLeftUp)
#endif
wxEND_EVENT_TABLE()

NebrixSystrayIcon::NebrixSystrayIcon(std::function<void()> overdueChanged)
    : wxTaskBarIcon(wxTBI_CUSTOM_STATUSITEM),
      m_overdueChanged(std::move(overdueChanged)),
      m_dialogsChanged([this] { dialogsChanged(); }),
      m_modals([this] { m_dialogsChanged.schedule(); }) {}

NebrixSystrayIcon::~NebrixSystrayIcon() = default;

void NebrixSystrayIcon::present(TrayKind kind, unsigned long x11Tray) { place(kind, x11Tray, true); }

void NebrixSystrayIcon::place(TrayKind kind, unsigned long x11Tray, bool keepsNotifierItem) {
    if (nebrix::gui::desktop::closePopupMenu()) {
        // The icon must not go before the menu's own loop has been left.
        CallAfter([this, kind, x11Tray, keepsNotifierItem] { place(kind, x11Tray, keepsNotifierItem); });
        return;
    }
    if (IsIconInstalled() && (kind != TrayKind::X11 || m_x11Tray != x11Tray)) {
        wxTaskBarIcon::RemoveIcon();
        m_trayWidgets.reset();
    }
    if (!keepsNotifierItem) {
        m_notifierItem.reset();
    }
    if (kind == TrayKind::X11) {
        showOnX11(x11Tray);
    } else if (kind == TrayKind::StatusNotifier && m_notifierItem == nullptr) {
        makeNotifierItem();
    }
}

void NebrixSystrayIcon::showOnX11(unsigned long x11Tray) {
    if (!IsIconInstalled()) {
        m_x11Tray = x11Tray;
        SetIcon(wxArtProvider::GetBitmapBundle(kIconId, wxART_OTHER), kToolTip);
        m_trayWidgets = nebrix::gui::desktop::holdTrayWidgets();
    }
}

void NebrixSystrayIcon::makeNotifierItem() {
    m_notifierItem = std::make_unique<nebrix::gui::StatusNotifierItem>(
        nebrix::gui::StatusNotifierItem::Content{"nebrixclient", kToolTip, NebrixClientArtProvider::trayImages()},
        nebrix::gui::StatusNotifierItem::Callbacks{
            [this] { return std::unique_ptr<wxMenu>(CreatePopupMenu()); }, [this](int id) { command(id); },
            [this](const wxPoint& place) { onMenuWanted(place); }, m_overdueChanged});
}

bool NebrixSystrayIcon::PopupMenu(wxMenu* menu) { return popUp(*menu, wxDefaultPosition); }

/// While a dialog is open wxWidgets lets only menus of dialogs act, so the menu belongs to one that is never shown.
bool NebrixSystrayIcon::popUp(wxMenu& menu, const wxPoint& place) {
    wxDialog owner(nullptr, wxID_ANY, wxEmptyString);
    const std::shared_ptr<void> input = nebrix::gui::desktop::catchInput();
    return owner.PopupMenu(&menu, place);
}

void NebrixSystrayIcon::onMenuWanted(const wxPoint& place) {
    if (nebrix::gui::desktop::closePopupMenu()) {
        return;  // a second click on the icon
    }
    if (nebrix::gui::desktop::canPopUpAnywhere()) {
        const std::unique_ptr<wxMenu> menu(CreatePopupMenu());
        popUp(*menu, place == wxPoint() ? wxDefaultPosition : place);  // some hosts know no place
    } else {
        mainhiddenframe->showCommands();
    }
}

void NebrixSystrayIcon::dialogsChanged() {
    if (m_notifierItem != nullptr) {
        m_notifierItem->menuChanged();
    }
}

bool NebrixSystrayIcon::isInstalled() const {
    return m_notifierItem != nullptr || const_cast<NebrixSystrayIcon*>(this)->IsIconInstalled();
}

bool NebrixSystrayIcon::RemoveIcon() {
    const bool installed = isInstalled();
    place(TrayKind::Window, 0, false);
    return installed;
}

wxMenu* NebrixSystrayIcon::CreatePopupMenu() {
    auto menu = std::make_unique<wxMenu>();
    const bool available = m_modals.top() == nullptr;
    append(*menu, ID_COMMAND_SETTINGS, _("MENU_SETTINGS"), "nebrix-config", available);
    append(*menu, ID_COMMAND_LOGS, _("MENU_LOGS"), "nebrix-logs", available);
    menu->AppendSeparator();
    append(*menu, wxID_ABOUT, wxGetStockLabel(wxID_ABOUT), "nebrix-logo", available);
#ifdef __WXOSX__
    if (!OSXIsStatusItem()) {
        return menu.release();  // the Dock offers to quit
    }
#endif
    append(*menu, wxID_EXIT, wxGetStockLabel(wxID_EXIT), "nebrix-stop", true);
    menu->Bind(wxEVT_MENU, [this](wxCommandEvent& event) {
        CallAfter([this, id = event.GetId()] { command(id); });  // once the menu's own loop has been left
    });
    return menu.release();
}

void NebrixSystrayIcon::command(int id) {
    wxCommandEvent event(wxEVT_MENU, id);
    ProcessEvent(event);
}

void NebrixSystrayIcon::OnMenuConf(wxCommandEvent& /*event*/) {
    if (!mainhiddenframe->raiseOpenDialog()) {
        mainhiddenframe->showConfigurationDialogModal(nullptr);
    }
}

void NebrixSystrayIcon::OnMenuLogs(wxCommandEvent& /*event*/) {
    if (!mainhiddenframe->raiseOpenDialog()) {
        mainhiddenframe->showLogs();
    }
}

void NebrixSystrayIcon::OnAbout(wxCommandEvent& /*event*/) {
    if (!mainhiddenframe->raiseOpenDialog()) {
        mainhiddenframe->showAbout();
    }
}

void NebrixSystrayIcon::OnMenuStop(wxCommandEvent& /*event*/) { mainhiddenframe->stop(); }

void NebrixSystrayIcon::OnLeftUp(wxTaskBarIconEvent& /*event*/) {
    const std::unique_ptr<wxMenu> menu(CreatePopupMenu());
    PopupMenu(menu.get());
}
