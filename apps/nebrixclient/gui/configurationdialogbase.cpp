#include "apps/nebrixclient/gui/configurationdialogbase.h"

#include <wx/artprov.h>
#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/iconbndl.h>
#include <wx/intl.h>
#include <wx/listbox.h>
#include <wx/sizer.h>
#include <wx/statbmp.h>
#include <wx/statbox.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>

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
    SetLayoutAdaptationMode(wxDIALOG_ADAPTATION_MODE_ENABLED);  // all but the buttons scrolls on a small screen
    auto* const column = new wxBoxSizer(wxVERTICAL);
    column->Add(makeProxyBox(), wxSizerFlags().Expand().DoubleBorder(wxALL));
    column->Add(makeCertificateBox(), wxSizerFlags(1).Expand().DoubleBorder(wxLEFT | wxRIGHT));
    column->Add(makeButtons(), wxSizerFlags().Expand().DoubleBorder(wxALL));
    SetSizer(column);
    nebrix::gui::fitWrapped(*this);
    CentreOnParent();
    bindHandlers();
    m_login->SetFocus();
}

wxSizer* ConfigurationDialog::makeProxyBox() {
    auto* const frame = new wxStaticBoxSizer(wxVERTICAL, this, _("Proxy"));
    wxStaticBox* const box = frame->GetStaticBox();
    m_useSystemProxy = new wxCheckBox(box, wxID_ANY, _("SETTINGS_PROXY_USE_SYSTEM_PARAMETERS"));
    m_useSystemProxy->SetValue(true);
    m_useSystemProxy->SetToolTip(_("SETTINGS_SYSTEM_PROXY_TIP"));
    m_useSystemProxy->Disable();
    frame->Add(m_useSystemProxy, wxSizerFlags().Border());

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
    auto* const frame = new wxStaticBoxSizer(wxVERTICAL, this, _("SSL"));
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
    frame->Add(grid, wxSizerFlags(1).Expand().Border());
    frame->Add(makeWarning(box), wxSizerFlags().Expand().Border());
    return frame;
}

wxSizer* ConfigurationDialog::makeWarning(wxWindow* box) {
    auto* const row = new wxBoxSizer(wxHORIZONTAL);
    auto* const sign = new wxStaticBitmap(box, wxID_ANY, wxArtProvider::GetBitmapBundle(wxART_WARNING, wxART_MENU));
    const wxString text = _("SETTINGS_SSL_NOCHECK_WARNING");
    setAccessibleName(*sign, text);
    row->Add(sign, wxSizerFlags().Top().Border(wxRIGHT));
    row->Add(new WrappedText(box, text, kColumns - 4), wxSizerFlags(1).CentreVertical());
    return row;
}

wxSizer* ConfigurationDialog::makeButtons() {
    auto* const row = new wxStdDialogButtonSizer;
    // Made in the order in which they stand, which is the keyboard's.
    row->AddButton(new wxButton(this, wxID_CANCEL));
    auto* const save = new wxButton(this, wxID_SAVE);
    row->AddButton(save);
    row->Realize();
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
    Bind(wxEVT_SIZE, [this](wxSizeEvent& event) {
        Layout();
        nebrix::gui::rewrap(*this);
        event.Skip(false);
    });
}

void ConfigurationDialog::addCertIgnoreDomain(wxCommandEvent& event) { event.Skip(); }
void ConfigurationDialog::onCertIgnoreDomainList(wxCommandEvent& event) { event.Skip(); }
void ConfigurationDialog::onRemoveCertIgnoreDomainButton(wxCommandEvent& event) { event.Skip(); }
void ConfigurationDialog::onDomainListKey(wxKeyEvent& event) { event.Skip(); }
void ConfigurationDialog::onRevealPassword(wxCommandEvent& event) { event.Skip(); }
