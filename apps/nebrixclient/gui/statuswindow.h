// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <wx/frame.h>
#include <wx/stattext.h>

#include <functional>

namespace nebrix::gui {

/// The panel as an ordinary window, for desktops without any tray: repeats its two lines and offers the tray menu's
/// commands as buttons. GUI thread only.
class StatusWindow final : public wxFrame {
public:
    /// `command` takes the id of a tray-menu command, `closed` stands for the close control, which alone does nothing.
    /// Both must outlive the window.
    StatusWindow(wxWindow* parent, std::function<void(int id)> command, std::function<void()> closed);

    void setTexts(const wxString& main, const wxString& plugin);

private:
    wxSizer* statusRow();
    wxSizer* buttonRow();
    void onCloseWindow(wxCloseEvent& event);

    const std::function<void(int)> m_command;
    const std::function<void()> m_closed;
    // Owned by the window.
    wxStaticText* m_main = nullptr;
    wxStaticText* m_plugin = nullptr;
};

}  // namespace nebrix::gui
