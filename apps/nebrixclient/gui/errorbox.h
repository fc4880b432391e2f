// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <wx/dialog.h>

class wxButton;

/// How a session ended, in words, and the box that says it.
namespace tessel::view {
struct EndText;
}

namespace nebrix::gui {

/// The translated text; empty for an empty one.
wxString toText(const tessel::view::EndText& text);

/// An error, told in one box that wraps its texts and fits the screen: a message, below it why, and a button to leave
/// it by. For one modal run, on the caller's stack: it ends with wxID_OK, kShowLog, kRetry or, by its close control,
/// wxID_CANCEL. GUI thread.
class ErrorBox final : public wxDialog {
public:
    static constexpr int kShowLog = wxID_HIGHEST + 1;
    static constexpr int kCertificateId = wxID_HIGHEST + 2;  ///< of a button that the owner binds
    static constexpr int kRetry = wxID_HIGHEST + 3;          ///< never by itself: for who ends it when all is well

    enum class Log { NotOffered, Offered };

    /// `why` may be empty. `button`: whose stock label the button has. With `log` a second one asks for the log.
    ErrorBox(wxWindow* parent, const wxString& message, const wxString& why, wxWindowID button,
             Log log = Log::NotOffered);

    /// Adds a button that shows a certificate, beside the one for the log.
    void offerCertificate();

private:
    wxSizer* texts(const wxString& message, const wxString& why);
    wxSizer* buttons(wxWindowID button, Log log);

    wxSizer* m_buttons = nullptr;
    wxButton* m_leave = nullptr;
};

/// The message of an error that ends the session, naming the log file that is really written.
wxString sessionErrorMessage();

}  // namespace nebrix::gui
