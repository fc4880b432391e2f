// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/gui/connectionerrordialogbase.h"

#include <wx/artprov.h>
#include <wx/button.h>
#include <wx/iconbndl.h>
#include <wx/intl.h>
#include <wx/sizer.h>
#include <wx/statbmp.h>

#include <algorithm>

#include "apps/nebrixclient/gui/accessible.h"
#include "apps/nebrixclient/gui/detailstext.h"
#include "apps/nebrixclient/gui/wrappedtext.h"

namespace {

constexpr int kColumns = 60;

}  // namespace

ConnectionErrorDialog::ConnectionErrorDialog(wxWindow* parent, const wxString& title, const wxString& message)
    : wxDialog(parent, wxID_ANY, title, wxDefaultPosition, wxDefaultSize, wxDEFAULT_DIALOG_STYLE) {
    SetIcons(wxArtProvider::GetIconBundle("nebrix-logo", wxART_OTHER));
    nebrix::gui::announceAsDialog(*this);
    auto* const column = new wxBoxSizer(wxVERTICAL);
    column->Add(makeMessage(message), wxSizerFlags().Expand().DoubleBorder(wxALL));
    makeDetails(*column);
    column->Add(makeButtons(), wxSizerFlags().Expand().DoubleBorder(wxALL));
    SetSizer(column);
    nebrix::gui::fitWrapped(*this);

    Bind(wxEVT_CLOSE_WINDOW, &ConnectionErrorDialog::OnQuit, this);
    // There is no button whose click Escape could stand for.
    Bind(wxEVT_CHAR_HOOK, [this](wxKeyEvent& event) {
        if (event.GetKeyCode() == WXK_ESCAPE && !event.HasAnyModifiers()) {
            Close();
        } else {
            event.Skip();
        }
    });
    Bind(wxEVT_INIT_DIALOG, &ConnectionErrorDialog::onInit, this);
    m_retry->Bind(wxEVT_BUTTON, &ConnectionErrorDialog::onRetry, this);
    m_quit->Bind(wxEVT_BUTTON, &ConnectionErrorDialog::onQuit, this);
}

wxSizer* ConnectionErrorDialog::makeMessage(const wxString& message) {
    auto* const row = new wxBoxSizer(wxHORIZONTAL);
    auto* const sign =
        new wxStaticBitmap(this, wxID_ANY, wxArtProvider::GetBitmapBundle(wxART_WARNING, wxART_CMN_DIALOG));
    nebrix::gui::setAccessibleName(*sign, GetTitle());
    row->Add(sign, wxSizerFlags().Top().DoubleBorder(wxRIGHT));
    row->Add(new nebrix::gui::WrappedText(this, wxControl::EscapeMnemonics(message), kColumns),
             wxSizerFlags(1).CentreVertical());
    return row;
}

void ConnectionErrorDialog::makeDetails(wxSizer& column) {
    auto* const label = new wxStaticText(this, wxID_ANY, _("Details:"));
    m_details = new nebrix::gui::DetailsText(this);
    m_details->SetMinSize(wxSize(std::min(kColumns * GetCharWidth(), nebrix::gui::roomOnScreen().x * 3 / 4), -1));
    nebrix::gui::setLabelFor(*label, *m_details);
    column.Add(label, wxSizerFlags().DoubleBorder(wxLEFT | wxRIGHT));
    column.Add(m_details, wxSizerFlags(1).Expand().DoubleBorder(wxLEFT | wxRIGHT | wxTOP));
}

wxSizer* ConnectionErrorDialog::makeButtons() {
    auto* const row = new wxBoxSizer(wxHORIZONTAL);
    m_settings = new wxButton(this, kSettingsId, _("Settings"));
    m_retry = new wxButton(this, wxID_ANY, _("Retry"));
    m_quit = new wxButton(this, wxID_ANY, _("Quit"));
    m_buttons = row;
    row->Add(m_settings);
    row->AddStretchSpacer();
    row->Add(m_retry, wxSizerFlags().Border(wxLEFT));
    row->Add(m_quit, wxSizerFlags().Border(wxLEFT));
    m_retry->SetDefault();
    return row;
}

void ConnectionErrorDialog::offerCertificate() {
    auto* const certificate = new wxButton(this, kCertificateId, _("CERTIFICATE_SHOW"));
    certificate->MoveAfterInTabOrder(m_settings);
    m_buttons->Insert(1, certificate, wxSizerFlags().Border(wxLEFT));
    nebrix::gui::fitWrapped(*this);
}

void ConnectionErrorDialog::OnQuit(wxCloseEvent& event) { event.Skip(); }
void ConnectionErrorDialog::onInit(wxInitDialogEvent& event) { event.Skip(); }
void ConnectionErrorDialog::onRetry(wxCommandEvent& event) { event.Skip(); }
void ConnectionErrorDialog::onQuit(wxCommandEvent& event) { event.Skip(); }
