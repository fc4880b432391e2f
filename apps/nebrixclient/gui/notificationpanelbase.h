// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <wx/frame.h>
#include <wx/gauge.h>
#include <wx/statbmp.h>
#include <wx/stattext.h>

/// The notification panel's layout: the program's name, the main label, and below it the plug-in's row or, while a
/// file is fetched, the progress row in its place. Behaviour is the derived class's.
class NotificationPanel : public wxFrame {
public:
    static constexpr int kMinimumWidth = 341;

    explicit NotificationPanel(wxWindow* parent, wxWindowID id = -1, const wxString& title = wxEmptyString,
                               const wxPoint& position = wxDefaultPosition,
                               const wxSize& size = wxSize(kMinimumWidth, 129),
                               long style = wxBORDER_SIMPLE | wxSTAY_ON_TOP | wxFRAME_SHAPED | wxFRAME_NO_TASKBAR);

protected:
    // Owned by the window.
    wxStaticText* m_mainLabel = nullptr;
    wxStaticBitmap* m_pluginImage = nullptr;
    wxStaticText* m_pluginStatus = nullptr;
    wxGauge* m_progressBar = nullptr;
    wxStaticText* m_progressText = nullptr;

private:
    wxSizer* titleRow();
    wxSizer* mainRow();
    wxSizer* pluginRow();
    wxSizer* progressRow();
};
