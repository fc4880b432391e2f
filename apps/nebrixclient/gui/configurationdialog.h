// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "apps/nebrixclient/clientlocalconfiguration.h"
#include "apps/nebrixclient/gui/configurationdialogbase.h"
#include "apps/nebrixclient/view/settingsfields.h"

/// Edits the proxy's credentials and the servers whose certificate is not checked. For one modal run, on the caller's
/// stack: the run ends with wxID_SAVE or wxID_CANCEL. Nothing is changed outside before writeConfiguration(). GUI
/// thread.
class NebrixClientConfigurationDialog final : public ConfigurationDialog {
public:
    explicit NebrixClientConfigurationDialog(wxWindow* parent);

    /// Fills the controls.
    void readConfiguration(tessel::ClientLocalConfiguration& configuration);
    /// Stores what was changed since the controls were filled, in memory only: the caller saves the file.
    void writeConfiguration(tessel::ClientLocalConfiguration& configuration);

protected:
    void addCertIgnoreDomain(wxCommandEvent& event) override;
    void onCertIgnoreDomainList(wxCommandEvent& event) override;
    void onRemoveCertIgnoreDomainButton(wxCommandEvent& event) override;
    void onDomainListKey(wxKeyEvent& event) override;
    void onRevealPassword(wxCommandEvent& event) override;
    /// Asks what is to become of a domain that was typed and not added.
    void onSave(wxCommandEvent& event) override;

private:
    [[nodiscard]] wxTextCtrl& shownPassword() const;
    /// What is in the field and would be added; empty for nothing.
    [[nodiscard]] tessel::String typedDomain() const;

    [[nodiscard]] tessel::view::SettingsFields fields() const;

    tessel::view::SettingsFields m_shown;    // what the controls were filled with, as they show it
    tessel::List<tessel::String> m_removed;  // domains
};
