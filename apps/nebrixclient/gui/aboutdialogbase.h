// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <wx/dialog.h>

class wxButton;
class wxStaticText;

/// The About dialog's controls and their place. Its handler only lets the event go on. GUI thread.
class AboutDialog : public wxDialog {
public:
    AboutDialog(wxWindow* parent, const wxString& title);

protected:
    virtual void onClose(wxCommandEvent& event);

    wxStaticText* m_version = nullptr;
    wxStaticText* m_copyright = nullptr;
    wxButton* m_close = nullptr;
};
