#include "apps/nebrixclient/gui/displayloss.h"

#include <X11/Xlib.h>

#include "apps/nebrixclient/gui/deferredcall.h"

namespace nebrix::gui {

namespace {

void (*g_lost)() = nullptr;

int onIoError(Display* /*display*/) {
    runLogged(g_lost);
    return 0;  // Xlib ends the process
}

}  // namespace

void onDisplayLoss(void (*lost)()) {
    g_lost = lost;
    // In the place of GDK's, which ends the process without a word to anybody.
    XSetIOErrorHandler(&onIoError);
}

}  // namespace nebrix::gui
