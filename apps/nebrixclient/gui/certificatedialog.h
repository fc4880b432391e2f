// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <wx/dialog.h>

class wxButton;
class wxCheckBox;
class wxFlexGridSizer;
class wxSizer;

namespace tessel::view {
struct CertificateView;
}

/// Shows a certificate that was refused, and asks whether it is to be trusted. For one modal run, on the caller's
/// stack: it ends with kTrust or, by the button, the close control or Escape, wxID_CANCEL. "Trust" can be pressed only
/// once it was said that the fingerprint was compared, and never where an administrator forbids it, which then stands
/// there. GUI thread.
class CertificateDialog final : public wxDialog {
public:
    static constexpr int kTrust = 1;

    CertificateDialog(wxWindow* parent, const tessel::view::CertificateView& view);

private:
    wxSizer* makeQuestion(const tessel::view::CertificateView& view);
    wxSizer* makeFacts(const tessel::view::CertificateView& view);
    void addRow(wxFlexGridSizer& grid, const char* label, wxWindow& value, const wxString& text);
    wxWindow* makeFingerprint(const wxString& digits);
    wxSizer* makeButtons();

    const bool m_narrow;  // facts stand below their labels, fingerprints in four lines
    wxCheckBox* m_compared = nullptr;
    wxButton* m_trust = nullptr;
};
