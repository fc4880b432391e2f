// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/gui/configurationdialog.h"

#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/intl.h>
#include <wx/listbox.h>
#include <wx/msgdlg.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>

#include <vector>

#include "apps/nebrixclient/gui/accessible.h"
#include "apps/nebrixclient/gui/desktop.h"
#include "apps/nebrixclient/gui/wxtext.h"
#include "apps/nebrixclient/view/displaytext.h"

using tessel::tesselToWxString;
using tessel::wxToTesselString;
using tessel::view::SettingsFields;

namespace {

constexpr unsigned kLongestShown = 60;  // characters of a domain in a question

tessel::List<tessel::String> entries(const wxListBox& list) {
    tessel::List<tessel::String> result;
    result.reserve(list.GetCount());
    for (unsigned position = 0; position < list.GetCount(); ++position) {
        result.push_back(wxToTesselString(list.GetString(position)));
    }
    return result;
}

}  // namespace

NebrixClientConfigurationDialog::NebrixClientConfigurationDialog(wxWindow* parent) : ConfigurationDialog(parent) {
    nebrix::gui::desktop::takeKeyboard(*this);
}

void NebrixClientConfigurationDialog::readConfiguration(tessel::ClientLocalConfiguration& configuration) {
    m_shown.read(configuration);
    m_login->ChangeValue(tesselToWxString(m_shown.login));
    shownPassword().ChangeValue(tesselToWxString(m_shown.password));
    m_domains->Clear();
    for (const tessel::String& domain : m_shown.domains) {
        m_domains->Append(tesselToWxString(domain));
    }
    m_removeDomain->Disable();
    m_removed.clear();
    const tessel::ManagedSettings& managed = configuration.managed();
    if (managed.route) {
        const bool none = managed.route->proxy.getType() == tessel::Proxy::Type::None;
        lockProxy(tesselToWxString(managed.path), none);
    }
    if (managed.refuseExceptions) {
        lockCertificates(tesselToWxString(managed.path));
    }
    m_shown = fields();  // what a control cannot show is nothing that was changed
}

SettingsFields NebrixClientConfigurationDialog::fields() const {
    SettingsFields fields;
    fields.login = wxToTesselString(m_login->GetValue());
    fields.password = wxToTesselString(shownPassword().GetValue());
    fields.domains = entries(*m_domains);
    fields.removed = m_removed;
    fields.keys = m_shown.keys;
    return fields;
}

void NebrixClientConfigurationDialog::writeConfiguration(tessel::ClientLocalConfiguration& configuration) {
    fields().write(m_shown, configuration);
}

void NebrixClientConfigurationDialog::addCertIgnoreDomain(wxCommandEvent&) {
    const tessel::String domain = typedDomain();
    if (!domain.empty()) {
        m_domains->Append(tesselToWxString(domain));
        m_domains->EnsureVisible(static_cast<int>(m_domains->GetCount()) - 1);
    }
    m_newDomain->Clear();
    m_newDomain->SetFocus();
}

void NebrixClientConfigurationDialog::onCertIgnoreDomainList(wxCommandEvent&) {
    wxArrayInt selected;
    m_removeDomain->Enable(m_domains->GetSelections(selected) > 0);
}

void NebrixClientConfigurationDialog::onRemoveCertIgnoreDomainButton(wxCommandEvent& event) {
    wxArrayInt selected;
    m_domains->GetSelections(selected);
    const std::vector<unsigned> positions(selected.begin(), selected.end());
    for (const unsigned position : tessel::view::removalOrder(positions)) {
        m_removed.push_back(wxToTesselString(m_domains->GetString(position)));
        m_domains->Delete(position);
    }
    // Before the button that may have the focus is disabled. GTK selects a neighbour of what was deleted.
    m_domains->SetFocus();
    m_domains->DeselectAll();
    onCertIgnoreDomainList(event);
}

void NebrixClientConfigurationDialog::onDomainListKey(wxKeyEvent& event) {
    const int key = event.GetKeyCode();
    if (key != WXK_DELETE && key != WXK_NUMPAD_DELETE) {
        event.Skip();
        return;
    }
    wxCommandEvent command;
    onRemoveCertIgnoreDomainButton(command);
}

void NebrixClientConfigurationDialog::onRevealPassword(wxCommandEvent&) {
    wxTextCtrl& shown = m_revealPassword->GetValue() ? *m_plainPassword : *m_password;
    wxTextCtrl& hidden = m_revealPassword->GetValue() ? *m_password : *m_plainPassword;
    shown.ChangeValue(hidden.GetValue());
    shown.SetInsertionPoint(hidden.GetInsertionPoint());
    hidden.ChangeValue(wxString());
    hidden.Hide();
    shown.Show();
    nebrix::gui::setLabelFor(*m_passwordLabel, shown);
    Layout();
}

tessel::String NebrixClientConfigurationDialog::typedDomain() const {
    return SettingsFields::domainToAdd(wxToTesselString(m_newDomain->GetValue()), entries(*m_domains));
}

void NebrixClientConfigurationDialog::onSave(wxCommandEvent& event) {
    const tessel::String left = typedDomain();
    if (!left.empty()) {
        const tessel::String shown = tessel::view::forLabel(left, kLongestShown);
        const int answer = wxMessageBox(wxString::Format(_("SETTINGS_NOT_ADDED %s"), tesselToWxString(shown)),
                                        GetTitle(), wxYES_NO | wxCANCEL | wxICON_WARNING, this);
        if (answer == wxYES) {
            addCertIgnoreDomain(event);
        } else if (answer != wxNO) {
            m_newDomain->SetFocus();
            return;
        }
    }
    event.Skip();
}

wxTextCtrl& NebrixClientConfigurationDialog::shownPassword() const {
    return m_revealPassword->GetValue() ? *m_plainPassword : *m_password;
}
