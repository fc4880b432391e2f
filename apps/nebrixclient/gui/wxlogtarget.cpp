// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/gui/wxlogtarget.h"

#include "apps/nebrixclient/gui/wxtext.h"
#include "libs/base/log.h"

namespace nebrix::gui {

namespace {

void logAssertion(const wxString& file, int line, const wxString& function, const wxString& condition,
                  const wxString& message) {
    const wxString text = wxString::Format("%s:%d %s: %s %s", file, line, function, condition, message);
    tessel::log(tessel::LogCategory::Error, "WxLogTarget", "assertion", tessel::wxToTesselString(text));
}

}  // namespace

void logAssertions() { wxSetAssertHandler(&logAssertion); }

void WxLogTarget::DoLogTextAtLevel(wxLogLevel level, const wxString& text) {
    tessel::LogCategory category = tessel::LogCategory::Trace;
    if (level <= wxLOG_Error) {
        category = tessel::LogCategory::Error;
    } else if (level == wxLOG_Warning) {
        category = tessel::LogCategory::Warning;
    }
    tessel::log(category, "WxLogTarget", "log", tessel::wxToTesselString(text));
}

}  // namespace nebrix::gui
