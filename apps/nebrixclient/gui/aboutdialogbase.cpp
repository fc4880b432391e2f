// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/gui/aboutdialogbase.h"

#include <wx/artprov.h>
#include <wx/button.h>
#include <wx/sizer.h>
#include <wx/statbmp.h>
#include <wx/stattext.h>

#include "apps/nebrixclient/gui/accessible.h"

namespace {

constexpr int kColumns = 28;  // average characters: the window is no narrower than its title bar needs

}  // namespace

AboutDialog::AboutDialog(wxWindow* parent, const wxString& title)
    : wxDialog(parent, wxID_ANY, title, wxDefaultPosition, wxDefaultSize, wxDEFAULT_DIALOG_STYLE) {
    SetIcons(wxArtProvider::GetIconBundle("nebrix-logo", wxART_OTHER));
    nebrix::gui::announceAsDialog(*this);
    auto* const logo =
        new wxStaticBitmap(this, wxID_ANY, wxArtProvider::GetBitmapBundle("nebrix-logo", wxART_MESSAGE_BOX));
    auto* const name = new wxStaticText(this, wxID_ANY, "NebrixClient");
    name->SetFont(name->GetFont().Bold().Larger().Larger());
    m_version = new wxStaticText(this, wxID_ANY, "0.0.0.0");
    m_copyright = new wxStaticText(this, wxID_ANY, L"\u00A9 Nebrix");
    m_close = new wxButton(this, wxID_CLOSE);
    m_close->SetDefault();
    m_close->SetFocus();
    SetAffirmativeId(wxID_CLOSE);
    SetEscapeId(wxID_CLOSE);
    nebrix::gui::setAccessibleName(*logo, "NebrixClient");

    auto* const column = new wxBoxSizer(wxVERTICAL);
    column->SetMinSize(kColumns * GetCharWidth(), -1);
    const int gap = FromDIP(wxSizerFlags::GetDefaultBorder());
    for (wxWindow* const row : {static_cast<wxWindow*>(logo), static_cast<wxWindow*>(name),
                                static_cast<wxWindow*>(m_version), static_cast<wxWindow*>(m_copyright)}) {
        column->Add(row, wxSizerFlags().Center().Border(wxALL, gap));
    }
    column->Add(m_close, wxSizerFlags().Center().Border(wxALL, 2 * gap));
    auto* const margin = new wxBoxSizer(wxHORIZONTAL);
    margin->Add(column, wxSizerFlags(1).Border(wxALL, 3 * gap));
    SetSizerAndFit(margin);
    CentreOnScreen();

    m_close->Bind(wxEVT_BUTTON, &AboutDialog::onClose, this);
}

void AboutDialog::onClose(wxCommandEvent& event) { event.Skip(); }
