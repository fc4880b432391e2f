// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <wx/dialog.h>

class wxButton;
class wxSizer;

namespace nebrix::gui {
class DetailsText;
}

/// The connection-error dialog's controls and their place. Its handlers only let the event go on. GUI thread.
class ConnectionErrorDialog : public wxDialog {
public:
    static constexpr int kSettingsId = 1000;
    static constexpr int kCertificateId = 1001;

    /// The message is shown as it is, without mnemonics.
    ConnectionErrorDialog(wxWindow* parent, const wxString& title, const wxString& message);

    /// Adds the button kCertificateId, behind which the refused certificate can be looked at.
    void offerCertificate();

protected:
    /// The window's own close control, and Escape.
    virtual void OnQuit(wxCloseEvent& event);
    virtual void onInit(wxInitDialogEvent& event);
    virtual void onRetry(wxCommandEvent& event);
    virtual void onQuit(wxCommandEvent& event);

    nebrix::gui::DetailsText* m_details = nullptr;
    wxButton* m_settings = nullptr;
    wxButton* m_retry = nullptr;
    wxButton* m_quit = nullptr;

private:
    wxSizer* makeMessage(const wxString& message);
    wxSizer* makeButtons();
    void makeDetails(wxSizer& column);

    wxSizer* m_buttons = nullptr;
};
