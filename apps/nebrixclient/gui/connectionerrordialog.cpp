// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/gui/connectionerrordialog.h"

#include <wx/button.h>
#include <wx/display.h>
#include <wx/intl.h>

#include "apps/nebrixclient/gui/detailstext.h"
#include "apps/nebrixclient/gui/wrappedtext.h"

NebrixClientConnectionErrorDialog::NebrixClientConnectionErrorDialog(wxWindow* parent, const wxString& message)
    : ConnectionErrorDialog(parent, _("Error"), message) {
    const long others = m_details->GetWindowStyleFlag() & ~(wxBORDER_STATIC | wxBORDER_SIMPLE);
    m_details->SetWindowStyleFlag(others | wxBORDER_SIMPLE);
}

void NebrixClientConnectionErrorDialog::setErrorContent(const wxString& text) {
    m_details->ChangeValue(text);
    const int width = m_details->GetSize().x;
    const int most = wxDisplay(this).GetClientArea().height / 3;
    m_details->SetMinSize(wxSize(width, m_details->heightFor(width, most)));
    nebrix::gui::fitWrapped(*this);
    CentreOnParent();
}

void NebrixClientConnectionErrorDialog::onInit(wxInitDialogEvent& event) {
    m_retry->SetFocus();
    event.Skip();
}

void NebrixClientConnectionErrorDialog::onRetry(wxCommandEvent&) { EndModal(kRetry); }

void NebrixClientConnectionErrorDialog::onQuit(wxCommandEvent&) { EndModal(kQuit); }
