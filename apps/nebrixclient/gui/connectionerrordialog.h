// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "apps/nebrixclient/gui/connectionerrordialogbase.h"

/// Says that the gateway could not be reached and asks what to do. For one modal run, on the caller's stack: it ends
/// with kQuit, kRetry or, by the close control or Escape, wxID_CANCEL. The buttons kSettingsId and
/// kCertificateId are the caller's to bind; they do not end the run by themselves. GUI thread.
class NebrixClientConnectionErrorDialog final : public ConnectionErrorDialog {
public:
    static constexpr int kQuit = 1;
    static constexpr int kRetry = 2;

    /// `message`: why, and what to do next, translated.
    NebrixClientConnectionErrorDialog(wxWindow* parent, const wxString& message);

    /// The details, shown as they are: wrapped, and scrolling beyond a third of the screen's height.
    void setErrorContent(const wxString& text);

protected:
    void onInit(wxInitDialogEvent& event) override;
    void onRetry(wxCommandEvent& event) override;
    void onQuit(wxCommandEvent& event) override;
};
