// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <wx/app.h>
#include <wx/init.h>

#include "apps/nebrixclient/gui/bus.h"
#include "apps/nebrixclient/gui/wxlogtarget.h"

// Windows without the program: a plain application, whose event loop the tests run themselves.
int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    nebrix::gui::bus::startNone();
    wxApp::SetInstance(new wxApp);
    if (!wxEntryStart(argc, argv)) {
        return 1;
    }
    // What wxWidgets logs must not end in a box.
    wxLog::SetActiveTarget(new nebrix::gui::WxLogTarget);
    const int status = RUN_ALL_TESTS();
    wxEntryCleanup();
    return status;
}
