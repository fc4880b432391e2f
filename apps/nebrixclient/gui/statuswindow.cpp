// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/gui/statuswindow.h"

#include <wx/artprov.h>
#include <wx/button.h>
#include <wx/iconbndl.h>
#include <wx/intl.h>
#include <wx/panel.h>
#include <wx/settings.h>
#include <wx/sizer.h>
#include <wx/statbmp.h>
#include <wx/stockitem.h>

#include "apps/nebrixclient/gui/systray.h"

namespace nebrix::gui {

namespace {

constexpr int kBorder = 10;

}  // namespace

StatusWindow::StatusWindow(wxWindow* parent, std::function<void(int id)> command, std::function<void()> closed)
    : wxFrame(parent, wxID_ANY, "NebrixClient", wxDefaultPosition, wxDefaultSize,
              wxDEFAULT_FRAME_STYLE & ~(wxRESIZE_BORDER | wxMAXIMIZE_BOX)),
      m_command(std::move(command)),
      m_closed(std::move(closed)) {
    SetIcons(wxArtProvider::GetIconBundle("nebrix-logo", wxART_OTHER));
    SetBackgroundColour(wxSystemSettings::GetColour(wxSYS_COLOUR_BTNFACE));
    auto* const rows = new wxBoxSizer(wxVERTICAL);
    rows->Add(statusRow(), wxSizerFlags().Expand().Border(wxALL, kBorder));
    rows->Add(buttonRow(), wxSizerFlags().Expand().Border(wxALL, kBorder));
    SetSizer(rows);
    Fit();
    Bind(wxEVT_CLOSE_WINDOW, &StatusWindow::onCloseWindow, this);
}

wxSizer* StatusWindow::statusRow() {
    auto* const row = new wxBoxSizer(wxHORIZONTAL);
    row->Add(new wxStaticBitmap(this, wxID_ANY, wxArtProvider::GetBitmapBundle("nebrix-logo", wxART_MESSAGE_BOX)),
             wxSizerFlags().CentreVertical());
    auto* const lines = new wxBoxSizer(wxVERTICAL);
    m_main = new wxStaticText(this, wxID_ANY, wxEmptyString);
    m_plugin = new wxStaticText(this, wxID_ANY, wxEmptyString);
    lines->Add(m_main, wxSizerFlags().Expand());
    lines->Add(m_plugin, wxSizerFlags().Expand().Border(wxTOP, kBorder / 2));
    row->Add(lines, wxSizerFlags(1).CentreVertical().Border(wxLEFT, kBorder));
    return row;
}

/// The buttons have no stock identifier: GTK would put words of its own on them, and others than the menu's.
wxSizer* StatusWindow::buttonRow() {
    auto* const row = new wxBoxSizer(wxHORIZONTAL);
    const auto add = [&](int id, const wxString& label) {
        auto* const button = new wxButton(this, wxID_ANY, label);
        button->Bind(wxEVT_BUTTON, [this, id](wxCommandEvent&) { m_command(id); });
        row->Add(button, wxSizerFlags(1).Border(wxRIGHT, kBorder / 2));
    };
    add(ID_COMMAND_SETTINGS, _("MENU_SETTINGS"));
    add(ID_COMMAND_LOGS, _("MENU_LOGS"));
    add(wxID_ABOUT, wxGetStockLabel(wxID_ABOUT));
    add(wxID_EXIT, wxGetStockLabel(wxID_EXIT));
    return row;
}

void StatusWindow::setTexts(const wxString& main, const wxString& plugin) {
    m_main->SetLabelText(main);
    m_plugin->SetLabelText(plugin);
    GetSizer()->SetSizeHints(this);
}

void StatusWindow::onCloseWindow(wxCloseEvent& event) {
    if (event.CanVeto()) {
        event.Veto();
        m_closed();
    } else {
        event.Skip();
    }
}

}  // namespace nebrix::gui
