#include "apps/nebrixclient/gui/wxlogtarget.h"

#include "apps/nebrixclient/gui/wxtext.h"
#include "libs/base/log.h"

namespace nebrix::gui {

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
