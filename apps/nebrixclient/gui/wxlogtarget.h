// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <wx/log.h>

namespace nebrix::gui {

/// Sends what wxWidgets has to say to the program's log, so that it never opens a box of its own. Any thread.
class WxLogTarget final : public wxLog {
protected:
    void DoLogTextAtLevel(wxLogLevel level, const wxString& text) override;
};

/// Sends the assertions of wxWidgets there too, as errors: the program goes on. For the program's start.
void logAssertions();

}  // namespace nebrix::gui
