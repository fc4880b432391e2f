// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/gui/certificatedialog.h"

#include <wx/artprov.h>
#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/iconbndl.h>
#include <wx/intl.h>
#include <wx/sizer.h>
#include <wx/statbmp.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>

#include "apps/nebrixclient/gui/accessible.h"
#include "apps/nebrixclient/gui/detailstext.h"
#include "apps/nebrixclient/gui/errorbox.h"
#include "apps/nebrixclient/gui/wrappedtext.h"
#include "apps/nebrixclient/gui/wxtext.h"
#include "apps/nebrixclient/view/certificateview.h"

using nebrix::gui::WrappedText;
using tessel::tesselToWxString;
using tessel::view::CertificateView;

namespace {

constexpr int kColumns = 64;       // average characters in a line of wrapped text
constexpr int kSignColumns = 6;    // beside the warning sign so many fewer
constexpr int kValueColumns = 44;  // and in a fact's value beside its label
constexpr int kFieldMargins = 12;  // pixels above and below a field's lines
constexpr const char* kBullet = "\u2022 ";

/// What others chose may have a "&" in it.
wxString words(const tessel::view::EndText& text) { return wxControl::EscapeMnemonics(nebrix::gui::toText(text)); }

}  // namespace

CertificateDialog::CertificateDialog(wxWindow* parent, const CertificateView& view)
    : wxDialog(parent, wxID_ANY, _("CERTIFICATE_TITLE"), wxDefaultPosition, wxDefaultSize, wxDEFAULT_DIALOG_STYLE),
      m_narrow(kColumns * GetCharWidth() > nebrix::gui::roomOnScreen().x * 3 / 4) {
    SetIcons(wxArtProvider::GetIconBundle("nebrix-logo", wxART_OTHER));
    nebrix::gui::announceAsDialog(*this);
    SetLayoutAdaptationMode(wxDIALOG_ADAPTATION_MODE_ENABLED);  // all but the buttons scrolls on a small screen
    auto* const column = new wxBoxSizer(wxVERTICAL);
    column->Add(makeQuestion(view), wxSizerFlags().Expand().DoubleBorder(wxALL));
    column->Add(makeFacts(view), wxSizerFlags().Expand().DoubleBorder(wxLEFT | wxRIGHT));
    column->Add(new WrappedText(this, view.forbidden ? _("CERTIFICATE_FORBIDDEN") : _("CERTIFICATE_ADVICE"), kColumns),
                wxSizerFlags().Expand().DoubleBorder(wxLEFT | wxRIGHT | wxTOP));
    m_compared = new wxCheckBox(this, wxID_ANY, _("CERTIFICATE_COMPARED"));
    m_compared->Enable(!view.forbidden);
    column->Add(m_compared, wxSizerFlags().DoubleBorder(wxLEFT | wxRIGHT | wxTOP));
    column->Add(makeButtons(), wxSizerFlags().Expand().DoubleBorder(wxALL));
    SetSizer(column);
    nebrix::gui::fitWrapped(*this);
    CentreOnParent();

    m_compared->Bind(wxEVT_CHECKBOX, [this](wxCommandEvent& event) { m_trust->Enable(event.IsChecked()); });
    m_trust->Bind(wxEVT_BUTTON, [this](wxCommandEvent& /*event*/) { EndModal(kTrust); });
}

/// Whose certificate it is about, and all that is wrong with it.
wxSizer* CertificateDialog::makeQuestion(const CertificateView& view) {
    auto* const row = new wxBoxSizer(wxHORIZONTAL);
    auto* const sign =
        new wxStaticBitmap(this, wxID_ANY, wxArtProvider::GetBitmapBundle(wxART_WARNING, wxART_CMN_DIALOG));
    nebrix::gui::setAccessibleName(*sign, GetTitle());
    auto* const texts = new wxBoxSizer(wxVERTICAL);
    texts->Add(new WrappedText(this, words(view.question), kColumns - kSignColumns), wxSizerFlags().Expand());
    for (const tessel::view::EndText& flaw : view.flaws) {
        texts->Add(new WrappedText(this, wxString::FromUTF8(kBullet) + words(flaw), kColumns - kSignColumns),
                   wxSizerFlags().Expand().Border(wxTOP));
    }
    row->Add(sign, wxSizerFlags().Top().DoubleBorder(wxRIGHT));
    row->Add(texts, wxSizerFlags(1));
    return row;
}

wxSizer* CertificateDialog::makeFacts(const CertificateView& view) {
    const int gap = wxSizerFlags::GetDefaultBorder();
    auto* const grid = new wxFlexGridSizer(m_narrow ? 1 : 2, gap, 2 * gap);
    grid->AddGrowableCol(m_narrow ? 0 : 1);
    for (const CertificateView::Fact& fact : view.facts) {
        const wxString text = tesselToWxString(fact.value);
        addRow(*grid, fact.label,
               *new WrappedText(this, wxControl::EscapeMnemonics(text), m_narrow ? kColumns : kValueColumns), text);
    }
    for (const CertificateView::Fact& fact : view.fingerprints) {
        const wxString text = tesselToWxString(fact.value);
        addRow(*grid, fact.label, *makeFingerprint(text), text);
    }
    return grid;
}

void CertificateDialog::addRow(wxFlexGridSizer& grid, const char* label, wxWindow& value, const wxString& text) {
    const wxString shown = wxGetTranslation(label);
    grid.Add(new wxStaticText(this, wxID_ANY, shown), wxSizerFlags().Top());
    grid.Add(&value, wxSizerFlags().Expand());
    nebrix::gui::setAccessibleName(value, dynamic_cast<WrappedText*>(&value) != nullptr ? shown + " " + text : shown);
}

/// To mark and copy, in letters of one width.
wxWindow* CertificateDialog::makeFingerprint(const wxString& digits) {
    wxString text = digits;
    if (m_narrow) {
        text.Replace("  ", "\n");
    }
    auto* const field = new nebrix::gui::DetailsText(this);
    field->SetFont(wxFontInfo(GetFont().GetPointSize()).Family(wxFONTFAMILY_TELETYPE));
    field->ChangeValue(text);
    const wxSize line = field->GetTextExtent(text.BeforeFirst('\n'));
    field->SetMinSize(wxSize(line.x + 6 * GetCharWidth(), (1 + text.Freq('\n')) * line.y + kFieldMargins));
    return field;
}

wxSizer* CertificateDialog::makeButtons() {
    auto* const row = new wxBoxSizer(wxHORIZONTAL);
    auto* const cancel = new wxButton(this, wxID_CANCEL);
    m_trust = new wxButton(this, wxID_YES, _("CERTIFICATE_TRUST"));
    m_trust->Disable();
    row->AddStretchSpacer();
    row->Add(cancel);
    row->Add(m_trust, wxSizerFlags().Border(wxLEFT));
    cancel->SetDefault();
    cancel->SetFocus();
    return row;
}
