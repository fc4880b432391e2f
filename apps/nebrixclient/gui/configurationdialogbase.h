// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <wx/dialog.h>

class wxButton;
class wxCheckBox;
class wxListBox;
class wxScrolledWindow;
class wxSizer;
class wxStaticText;
class wxTextCtrl;

/// The settings dialog's controls, their order and their place; on a small screen all but the buttons scrolls. Its
/// handlers only let the event go on. GUI thread.
class ConfigurationDialog : public wxDialog {
public:
    explicit ConfigurationDialog(wxWindow* parent);

    /// What the field for a new domain shows while it is empty: the form that it needs, with the present gateway's
    /// authority as an example.
    void setExample(const wxString& authority);

    /// Greys what an administrator has settled, `none` for no proxy, and says so there; `path` names the file.
    void lockProxy(const wxString& path, bool none);
    void lockCertificates(const wxString& path);

protected:
    /// Add button, and Enter in the field for a new domain.
    virtual void addCertIgnoreDomain(wxCommandEvent& event);
    virtual void onCertIgnoreDomainList(wxCommandEvent& event);
    virtual void onRemoveCertIgnoreDomainButton(wxCommandEvent& event);
    virtual void onDomainListKey(wxKeyEvent& event);
    virtual void onRevealPassword(wxCommandEvent& event);
    virtual void onSave(wxCommandEvent& event);

    wxCheckBox* m_useSystemProxy = nullptr;
    wxTextCtrl* m_login = nullptr;
    wxStaticText* m_passwordLabel = nullptr;
    /// One of the two is shown, in the same place; which one, m_revealPassword says.
    wxTextCtrl* m_password = nullptr;
    wxTextCtrl* m_plainPassword = nullptr;
    wxCheckBox* m_revealPassword = nullptr;
    wxTextCtrl* m_newDomain = nullptr;
    wxButton* m_addDomain = nullptr;
    wxListBox* m_domains = nullptr;
    wxButton* m_removeDomain = nullptr;

private:
    wxSizer* makeProxyBox();
    wxSizer* makeCertificateBox();
    wxWindow* makeWarning(wxWindow* box);
    wxWindow* makeReason(wxSizer& frame, wxWindow* box);
    void explain(wxWindow& reason, const wxString& text);
    wxSizer* makeButtons();
    void bindHandlers();
    void fit();
    void rewrap();

    wxScrolledWindow* m_content = nullptr;  // all but the buttons
    // Hidden unless something is settled.
    wxWindow* m_proxyReason = nullptr;
    wxWindow* m_certificateReason = nullptr;
};
