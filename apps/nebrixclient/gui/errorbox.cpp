// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/gui/errorbox.h"

#include <wx/artprov.h>
#include <wx/button.h>
#include <wx/iconbndl.h>
#include <wx/intl.h>
#include <wx/sizer.h>
#include <wx/statbmp.h>
#include <wx/stockitem.h>

#include "apps/nebrixclient/client.h"
#include "apps/nebrixclient/gui/accessible.h"
#include "apps/nebrixclient/gui/wrappedtext.h"
#include "apps/nebrixclient/gui/wxtext.h"
#include "apps/nebrixclient/view/endtext.h"

namespace nebrix::gui {

namespace {

constexpr int kColumns = 60;

}  // namespace

wxString toText(const tessel::view::EndText& text) {
    if (*text.key == '\0') {
        return {};
    }
    const wxString translated = wxGetTranslation(text.key);
    return text.fill.has_value() ? wxString::Format(translated, tessel::tesselToWxString(*text.fill)) : translated;
}

wxString sessionErrorMessage() {
    wxString message = _("UNKNOWN_ERROR_HAS_OCCURED");
    // The catalogs name the usual file.
    if (const tessel::String file = tessel::NebrixClient::getLogFile(); file != "null") {
        message.Replace(tessel::kLogFile, tessel::tesselToWxString(file));
    }
    return message;
}

ErrorBox::ErrorBox(wxWindow* parent, const wxString& message, const wxString& why, wxWindowID button, Log log)
    : wxDialog(parent, wxID_ANY, _("Error"), wxDefaultPosition, wxDefaultSize, wxDEFAULT_DIALOG_STYLE) {
    SetIcons(wxArtProvider::GetIconBundle("nebrix-logo", wxART_OTHER));
    announceAsDialog(*this);
    auto* const column = new wxBoxSizer(wxVERTICAL);
    column->Add(texts(message, why), wxSizerFlags(1).Expand().DoubleBorder(wxALL));
    column->Add(buttons(button, log), wxSizerFlags().Expand().DoubleBorder(wxALL));
    SetSizer(column);
    fitWrapped(*this);
    SetEscapeId(wxID_OK);
    CentreOnScreen();
}

wxSizer* ErrorBox::texts(const wxString& message, const wxString& why) {
    auto* const row = new wxBoxSizer(wxHORIZONTAL);
    auto* const sign =
        new wxStaticBitmap(this, wxID_ANY, wxArtProvider::GetBitmapBundle(wxART_ERROR, wxART_MESSAGE_BOX));
    setAccessibleName(*sign, GetTitle());
    row->Add(sign, wxSizerFlags().Top().DoubleBorder(wxRIGHT));
    auto* const lines = new wxBoxSizer(wxVERTICAL);
    lines->Add(new WrappedText(this, wxControl::EscapeMnemonics(message), kColumns), wxSizerFlags().Expand());
    if (!why.empty()) {
        lines->Add(new WrappedText(this, wxControl::EscapeMnemonics(why), kColumns),
                   wxSizerFlags().Expand().DoubleBorder(wxTOP));
    }
    row->Add(lines, wxSizerFlags(1).CentreVertical());
    return row;
}

wxSizer* ErrorBox::buttons(wxWindowID button, Log log) {
    auto* const row = new wxBoxSizer(wxHORIZONTAL);
    if (log == Log::Offered) {
        auto* const show = new wxButton(this, kShowLog, _("SHOW_LOG"));
        show->Bind(wxEVT_BUTTON, [this](wxCommandEvent& /*event*/) { EndModal(kShowLog); });
        row->Add(show);
    }
    row->AddStretchSpacer();
    m_leave = new wxButton(this, wxID_OK, wxGetStockLabel(button));
    row->Add(m_leave, wxSizerFlags().Border(wxLEFT));
    m_leave->SetDefault();
    m_leave->SetFocus();
    m_buttons = row;
    return row;
}

void ErrorBox::offerCertificate() {
    auto* const certificate = new wxButton(this, kCertificateId, _("CERTIFICATE_SHOW"));
    certificate->MoveBeforeInTabOrder(m_leave);
    m_buttons->Insert(1, certificate, wxSizerFlags().Border(wxLEFT));
    fitWrapped(*this);
    CentreOnScreen();
}

}  // namespace nebrix::gui
