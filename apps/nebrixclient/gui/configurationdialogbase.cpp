// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/gui/configurationdialogbase.h"

#include <wx/artprov.h>
#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/iconbndl.h>
#include <wx/intl.h>
#include <wx/listbox.h>
#include <wx/panel.h>
#include <wx/scrolwin.h>
#include <wx/settings.h>
#include <wx/sizer.h>
#include <wx/statbmp.h>
#include <wx/statbox.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>

#include <algorithm>

#include "apps/nebrixclient/gui/accessible.h"
#include "apps/nebrixclient/gui/textfield.h"
#include "apps/nebrixclient/gui/wrappedtext.h"

using nebrix::gui::makeTextField;
using nebrix::gui::setAccessibleName;
using nebrix::gui::setLabelFor;
using nebrix::gui::WrappedText;

namespace {

constexpr int kColumns = 58;       // average characters in a line of wrapped text
constexpr int kFieldColumns = 28;  // and in a text field
constexpr int kListLines = 4;

}  // namespace

ConfigurationDialog::ConfigurationDialog(wxWindow* parent)
    : wxDialog(parent, wxID_ANY, _("SETTINGS_TITLE"), wxDefaultPosition, wxDefaultSize,
               wxDEFAULT_DIALOG_STYLE | wxRESIZE_BORDER) {
    SetIcons(wxArtProvider::GetIconBundle("nebrix-logo", wxART_OTHER));
    nebrix::gui::announceAsDialog(*this);
    m_content = new wxScrolledWindow(this, wxID_ANY, wxDefaultPosition, wxDefaultSize, wxVSCROLL | wxTAB_TRAVERSAL);
    m_content->SetScrollRate(0, GetCharHeight());
    auto* const groups = new wxBoxSizer(wxVERTICAL);
    groups->Add(makeProxyBox(), wxSizerFlags().Expand().DoubleBorder(wxALL));
    groups->AddSpacer(wxSizerFlags::GetDefaultBorder());
    groups->Add(makeCertificateBox(), wxSizerFlags(1).Expand().DoubleBorder(wxLEFT | wxRIGHT));
    m_content->SetSizer(groups);
    auto* const column = new wxBoxSizer(wxVERTICAL);
    column->Add(m_content, wxSizerFlags(1).Expand());
    column->Add(makeButtons(), wxSizerFlags().Expand().DoubleBorder());
    SetSizer(column);
    fit();
    CentreOnParent();
    bindHandlers();
    m_login->SetFocus();
}

/// As large as everything wants, as far as the screen has room; the texts are broken to the width that comes of it.
void ConfigurationDialog::fit() {
    const wxSize room = nebrix::gui::roomOnScreen();
    const int bar = wxSystemSettings::GetMetric(wxSYS_VSCROLL_X, this);
    m_content->SetMinSize(wxSize(0, 0));
    const int buttons = GetSizer()->CalcMin().y;
    for (int pass = 0; pass < 2; ++pass) {  // the texts' height is known once their width is
        const wxSize wanted = m_content->GetSizer()->CalcMin();
        const int height = std::min(wanted.y, room.y - buttons);
        m_content->SetMinSize(wxSize(wanted.x + (height < wanted.y ? bar : 0), height));
        SetClientSize(GetSizer()->CalcMin());
        Layout();
        rewrap();
    }
    SetMinClientSize(wxSize(GetSizer()->CalcMin().x, std::min(GetClientSize().y, room.y / 2)));
}

void ConfigurationDialog::rewrap() {
    m_content->Layout();
    nebrix::gui::rewrap(*this);
    m_content->FitInside();
    m_content->Layout();
}

void ConfigurationDialog::setExample(const wxString& authority) {
    if (!authority.empty()) {
        const wxString hint = wxString::Format(_("SETTINGS_HINT %s"), authority);
        m_newDomain->SetHint(hint);
        m_newDomain->SetToolTip(hint);  // the field may be too short for it
    }
}

/// Empty, and not shown before there is one.
wxWindow* ConfigurationDialog::makeReason(wxSizer& frame, wxWindow* box) {
    auto* const reason = new WrappedText(box, wxString(), kColumns);
    frame.Add(reason, wxSizerFlags().Expand().Border());
    reason->Hide();
    return reason;
}

void ConfigurationDialog::explain(wxWindow& reason, const wxString& text) {
    static_cast<WrappedText&>(reason).SetLabelText(text);
    reason.Show();
    fit();
}

void ConfigurationDialog::lockProxy(const wxString& path, bool none) {
    m_useSystemProxy->SetValue(false);
    const wxString reason = none ? _("SETTINGS_NO_PROXY_MANAGED %s") : _("SETTINGS_PROXY_MANAGED %s");
    explain(*m_proxyReason, wxString::Format(reason, path));
}

void ConfigurationDialog::lockCertificates(const wxString& path) {
    for (wxWindow* const control :
         std::initializer_list<wxWindow*>{m_newDomain, m_addDomain, m_domains, m_removeDomain}) {
        control->Disable();
    }
    explain(*m_certificateReason, wxString::Format(_("SETTINGS_CERTIFICATES_MANAGED %s"), path));
}

wxSizer* ConfigurationDialog::makeProxyBox() {
    auto* const frame = new wxStaticBoxSizer(wxVERTICAL, m_content, _("Proxy"));
    wxStaticBox* const box = frame->GetStaticBox();
    m_useSystemProxy = new wxCheckBox(box, wxID_ANY, _("SETTINGS_PROXY_USE_SYSTEM_PARAMETERS"));
    m_useSystemProxy->SetValue(true);
    m_useSystemProxy->SetToolTip(_("SETTINGS_SYSTEM_PROXY_TIP"));
    m_useSystemProxy->Disable();
    frame->Add(m_useSystemProxy, wxSizerFlags().Border());
    m_proxyReason = makeReason(*frame, box);

    auto* const loginLabel = new wxStaticText(box, wxID_ANY, _("SETTINGS_PROXY_LOGIN"));
    m_login = makeTextField(box, kFieldColumns);
    setLabelFor(*loginLabel, *m_login);
    m_passwordLabel = new wxStaticText(box, wxID_ANY, _("SETTINGS_PROXY_PASSWORD"));
    m_password = makeTextField(box, kFieldColumns, wxTE_PASSWORD);
    m_plainPassword = makeTextField(box, kFieldColumns);
    m_plainPassword->Hide();
    setLabelFor(*m_passwordLabel, *m_plainPassword);
    setLabelFor(*m_passwordLabel, *m_password);
    m_revealPassword = new wxCheckBox(box, wxID_ANY, _("SETTINGS_REVEAL_PASSWORD"));

    auto* const slot = new wxBoxSizer(wxVERTICAL);
    slot->Add(m_password, wxSizerFlags().Expand());
    slot->Add(m_plainPassword, wxSizerFlags().Expand());
    const int gap = wxSizerFlags::GetDefaultBorder();
    auto* const grid = new wxFlexGridSizer(2, gap, 2 * gap);
    grid->AddGrowableCol(1);
    grid->Add(loginLabel, wxSizerFlags().CentreVertical());
    grid->Add(m_login, wxSizerFlags().Expand());
    grid->Add(m_passwordLabel, wxSizerFlags().CentreVertical());
    grid->Add(slot, wxSizerFlags().Expand());
    grid->AddSpacer(0);
    grid->Add(m_revealPassword);
    frame->Add(grid, wxSizerFlags().Expand().Border());
    return frame;
}

wxSizer* ConfigurationDialog::makeCertificateBox() {
    auto* const frame = new wxStaticBoxSizer(wxVERTICAL, m_content, _("SSL"));
    wxStaticBox* const box = frame->GetStaticBox();
    auto* const label = new WrappedText(box, _("SETTINGS_SSL_DO_NOT_CHECK_CERTIFICATES"), kColumns);
    m_newDomain = makeTextField(box, kFieldColumns, wxTE_PROCESS_ENTER);
    m_addDomain = new wxButton(box, wxID_ANY, _("SETTINGS_ADD"));
    m_domains =
        new wxListBox(box, wxID_ANY, wxDefaultPosition, wxDefaultSize, 0, nullptr, wxLB_EXTENDED | wxLB_NEEDED_SB);
    m_domains->SetMinSize(wxSize(kFieldColumns * GetCharWidth(), kListLines * 3 * GetCharHeight() / 2));
    m_removeDomain = new wxButton(box, wxID_ANY, _("SETTINGS_REMOVE"));
    m_removeDomain->Disable();
    setLabelFor(*label, *m_newDomain);
    setAccessibleName(*m_newDomain, _("SETTINGS_NEW_DOMAIN"));
    setAccessibleName(*m_domains, _("SETTINGS_DOMAIN_LIST"));
    setExample("gateway.example.org:443");

    const int gap = wxSizerFlags::GetDefaultBorder();
    auto* const grid = new wxFlexGridSizer(2, gap, gap);
    grid->AddGrowableCol(0);
    grid->AddGrowableRow(1);
    grid->Add(m_newDomain, wxSizerFlags().Expand());
    grid->Add(m_addDomain, wxSizerFlags().Expand());
    grid->Add(m_domains, wxSizerFlags().Expand());
    // Within a sizer of its own: else it would be stretched to the list's height.
    auto* const beside = new wxBoxSizer(wxVERTICAL);
    beside->Add(m_removeDomain, wxSizerFlags().Expand());
    grid->Add(beside, wxSizerFlags().Expand());
    frame->Add(label, wxSizerFlags().Expand().Border());
    m_certificateReason = makeReason(*frame, box);
    frame->Add(grid, wxSizerFlags(1).Expand().Border());
    frame->Add(makeWarning(box), wxSizerFlags().Expand().Border());
    return frame;
}

/// On a ground of its own, which the theme's colours are only tinted for.
wxWindow* ConfigurationDialog::makeWarning(wxWindow* box) {
    constexpr int kTint = 0x30;  // of 255
    auto* const ground = new wxPanel(box);
    const wxColour below = wxSystemSettings::GetColour(wxSYS_COLOUR_BTNFACE);
    const auto tinted = [&](unsigned char from, int to) {
        return static_cast<unsigned char>(from + (to - from) * kTint / 0xFF);
    };
    ground->SetBackgroundColour(
        wxColour(tinted(below.Red(), 0xF5), tinted(below.Green(), 0x79), tinted(below.Blue(), 0)));
    auto* const row = new wxBoxSizer(wxHORIZONTAL);
    auto* const sign = new wxStaticBitmap(ground, wxID_ANY, wxArtProvider::GetBitmapBundle(wxART_WARNING, wxART_MENU));
    setAccessibleName(*sign, _("WARNING_SIGN"));
    row->Add(sign, wxSizerFlags().Top().Border());
    row->Add(new WrappedText(ground, _("SETTINGS_SSL_NOCHECK_WARNING"), kColumns - 6),
             wxSizerFlags(1).CentreVertical().Border(wxTOP | wxBOTTOM | wxRIGHT));
    ground->SetSizer(row);
    return ground;
}

/// Their ends are the groups'; the standard sizer would move them in.
wxSizer* ConfigurationDialog::makeButtons() {
    auto* const row = new wxBoxSizer(wxHORIZONTAL);
    auto* const cancel = new wxButton(this, wxID_CANCEL);
    auto* const save = new wxButton(this, wxID_SAVE);
    row->AddStretchSpacer();
    row->Add(cancel, wxSizerFlags().Border(wxRIGHT));
    row->Add(save);
    save->SetDefault();
    SetAffirmativeId(wxID_SAVE);
    SetEscapeId(wxID_CANCEL);
    return row;
}

void ConfigurationDialog::bindHandlers() {
    m_revealPassword->Bind(wxEVT_CHECKBOX, &ConfigurationDialog::onRevealPassword, this);
    m_newDomain->Bind(wxEVT_TEXT_ENTER, &ConfigurationDialog::addCertIgnoreDomain, this);
    m_addDomain->Bind(wxEVT_BUTTON, &ConfigurationDialog::addCertIgnoreDomain, this);
    m_domains->Bind(wxEVT_LISTBOX, &ConfigurationDialog::onCertIgnoreDomainList, this);
    m_domains->Bind(wxEVT_KEY_DOWN, &ConfigurationDialog::onDomainListKey, this);
    m_removeDomain->Bind(wxEVT_BUTTON, &ConfigurationDialog::onRemoveCertIgnoreDomainButton, this);
    Bind(wxEVT_BUTTON, &ConfigurationDialog::onSave, this, wxID_SAVE);
    // Also when the bar comes or goes.
    m_content->Bind(wxEVT_SIZE, [this](wxSizeEvent& event) {
        event.Skip();
        rewrap();
    });
}

void ConfigurationDialog::addCertIgnoreDomain(wxCommandEvent& event) { event.Skip(); }
void ConfigurationDialog::onCertIgnoreDomainList(wxCommandEvent& event) { event.Skip(); }
void ConfigurationDialog::onRemoveCertIgnoreDomainButton(wxCommandEvent& event) { event.Skip(); }
void ConfigurationDialog::onDomainListKey(wxKeyEvent& event) { event.Skip(); }
void ConfigurationDialog::onRevealPassword(wxCommandEvent& event) { event.Skip(); }
void ConfigurationDialog::onSave(wxCommandEvent& event) { event.Skip(); }
