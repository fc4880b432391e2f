#pragma once

#include <wx/log.h>

namespace nebrix::gui {

/// Sends what wxWidgets has to say to the program's log, so that it never opens a box of its own. Any thread.
class WxLogTarget final : public wxLog {
protected:
    void DoLogTextAtLevel(wxLogLevel level, const wxString& text) override;
};

}  // namespace nebrix::gui
