#include "apps/nebrixclient/gui/systray.h"

#include <wx/artprov.h>
#include <wx/intl.h>
#include <wx/menu.h>
#include <wx/stockitem.h>

#include "apps/nebrixclient/gui/artprovider.h"
#include "apps/nebrixclient/gui/desktop.h"
#include "apps/nebrixclient/gui/mainframe.h"

using tessel::view::TrayKind;

namespace {

constexpr const char* kToolTip = "TarnClient";
constexpr const char* kIconId = "tarn-tray-logo";

void append(wxMenu& menu, int id, const wxString& label, const char* image) {
    auto* const item = new wxMenuItem(&menu, id, label);
    if (image != nullptr) {
        item->SetBitmap(wxArtProvider::GetBitmapBundle(image, wxART_OTHER));
    }
    menu.Append(item);
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

NebrixSystrayIcon::NebrixSystrayIcon() : wxTaskBarIcon(wxTBI_CUSTOM_STATUSITEM) {}

NebrixSystrayIcon::~NebrixSystrayIcon() = default;

void NebrixSystrayIcon::present(TrayKind kind) { place(kind, kind != TrayKind::X11); }

void NebrixSystrayIcon::place(TrayKind kind, bool keepsNotifierItem) {
    if (nebrix::gui::desktop::closePopupMenu()) {
        // The icon must not go before the menu's own loop has been left.
        CallAfter([this, kind, keepsNotifierItem] { place(kind, keepsNotifierItem); });
        return;
    }
    if (kind != TrayKind::X11 && IsIconInstalled()) {
        wxTaskBarIcon::RemoveIcon();
    }
    if (!keepsNotifierItem) {
        m_notifierItem.reset();
    }
    if (kind == TrayKind::X11) {
        showOnX11();
    } else if (kind == TrayKind::StatusNotifier) {
        showAsNotifierItem();
    }
}

void NebrixSystrayIcon::showOnX11() {
    if (!IsIconInstalled()) {
        SetIcon(wxArtProvider::GetBitmapBundle(kIconId, wxART_OTHER), kToolTip);
    }
}

void NebrixSystrayIcon::showAsNotifierItem() {
    if (m_notifierItem != nullptr) {
        return;
    }
    m_notifierItem = std::make_unique<nebrix::gui::StatusNotifierItem>("nebrixclient", kToolTip);
    m_notifierItem->setIcons(NebrixClientArtProvider::trayImages());
    m_notifierItem->setToolTip(kToolTip);
    m_notifierItem->setMenu([this] { return std::unique_ptr<wxMenu>(CreatePopupMenu()); },
                            [this](int id) { command(id); });
    m_notifierItem->show();
}

bool NebrixSystrayIcon::isInstalled() const {
    return m_notifierItem != nullptr || const_cast<NebrixSystrayIcon*>(this)->IsIconInstalled();
}

bool NebrixSystrayIcon::RemoveIcon() {
    const bool installed = isInstalled();
    place(TrayKind::Window, false);
    return installed;
}

wxMenu* NebrixSystrayIcon::CreatePopupMenu() {
    auto menu = std::make_unique<wxMenu>();
    append(*menu, ID_COMMAND_SETTINGS, _("MENU_SETTINGS"), "nebrix-config");
    append(*menu, ID_COMMAND_LOGS, _("MENU_LOGS"), "nebrix-logs");
    menu->AppendSeparator();
    append(*menu, wxID_ABOUT, wxGetStockLabel(wxID_ABOUT), nullptr);
#ifdef __WXOSX__
    if (!OSXIsStatusItem()) {
        return menu.release();  // the Dock offers to quit
    }
#endif
    append(*menu, wxID_EXIT, wxGetStockLabel(wxID_EXIT), "nebrix-stop");
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

void NebrixSystrayIcon::OnMenuLogs(wxCommandEvent& /*event*/) { mainhiddenframe->showLogs(); }

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
