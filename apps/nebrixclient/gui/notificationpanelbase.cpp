// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/gui/notificationpanelbase.h"

#include <wx/artprov.h>
#include <wx/intl.h>
#include <wx/settings.h>
#include <wx/sizer.h>
#include <wx/statline.h>
#include "apps/nebrixclient/gui/accessible.h"

namespace {

constexpr int kBorder = 5;

wxStaticBitmap* image(wxWindow* parent, const char* id) {
    return new wxStaticBitmap(parent, wxID_ANY, wxArtProvider::GetBitmapBundle(id, wxART_OTHER));
}

/// What a text needs beyond the panel's width is left out in its middle.
wxStaticText* label(wxWindow* parent, const wxString& text) {
    return new wxStaticText(parent, wxID_ANY, text, wxDefaultPosition, wxDefaultSize, wxST_ELLIPSIZE_MIDDLE);
}

wxSizerFlags item(int proportion = 0) { return wxSizerFlags(proportion).CentreVertical().Border(wxALL, kBorder); }

}  // namespace

NotificationPanel::NotificationPanel(wxWindow* parent, wxWindowID id, const wxString& title, const wxPoint& position,
                                     const wxSize& size, long style)
    : wxFrame(parent, id, title, position, size, style) {
    SetMinSize(wxSize(kMinimumWidth, wxDefaultCoord));
    SetBackgroundColour(wxSystemSettings::GetColour(wxSYS_COLOUR_3DLIGHT));
    auto* const rows = new wxBoxSizer(wxVERTICAL);
    const auto row = wxSizerFlags().Expand().Border(wxALL, kBorder);
    rows->Add(titleRow(), row);
    rows->Add(new wxStaticLine(this), row);
    rows->Add(mainRow(), wxSizerFlags(row).Proportion(1));  // in the middle of what the row below it leaves free
    rows->Add(pluginRow(), row);
    rows->Add(progressRow(), row);
    SetSizer(rows);
}

wxSizer* NotificationPanel::titleRow() {
    auto* const row = new wxBoxSizer(wxHORIZONTAL);
    row->Add(image(this, "nebrix-logo"), item());
    row->Add(new wxStaticText(this, wxID_ANY, "NebrixClient"), item());
    return row;
}

wxSizer* NotificationPanel::mainRow() {
    auto* const row = new wxBoxSizer(wxHORIZONTAL);
    row->Add(image(this, "nebrix-plugin"), item());
    m_mainLabel = label(this, _("Connected"));
    row->Add(m_mainLabel, item(1));
    return row;
}

wxSizer* NotificationPanel::pluginRow() {
    auto* const row = new wxBoxSizer(wxHORIZONTAL);
    m_pluginImage = image(this, "nebrix-vpn");
    row->Add(m_pluginImage, item());
    m_pluginStatus = label(this, wxEmptyString);
    row->Add(m_pluginStatus, item(1));
    return row;
}

wxSizer* NotificationPanel::progressRow() {
    constexpr int kPermille = 1000;
    constexpr int kBarWidth = 80;  // and what the text leaves
    constexpr int kBarHeight = 8;
    auto* const row = new wxBoxSizer(wxHORIZONTAL);
    m_progressBar = new wxGauge(this, wxID_ANY, kPermille, wxDefaultPosition, FromDIP(wxSize(kBarWidth, kBarHeight)),
                                wxGA_HORIZONTAL | wxGA_SMOOTH);
    nebrix::gui::setAccessibleName(*m_progressBar, _("PROGRESS_NAME"));
    row->Add(m_progressBar, item(1));
    m_progressText = new wxStaticText(this, wxID_ANY, wxEmptyString);
    row->Add(m_progressText, item());
    m_progressBar->Hide();
    m_progressText->Hide();
    return row;
}
