// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/gui/displayloss.h"

#include <X11/Xlib.h>
#include <gdk/gdk.h>
#include <poll.h>

#include <limits>

#include "apps/nebrixclient/gui/deferredcall.h"

#ifdef GDK_WINDOWING_WAYLAND
#include <gdk/gdkwayland.h>
#endif

namespace nebrix::gui {

namespace {

void (*g_lost)() = nullptr;

int onIoError(Display* /*display*/) {
    runLogged(g_lost);
    return 0;  // Xlib ends the process
}

#ifdef GDK_WINDOWING_WAYLAND

/// GDK ends the process as soon as it writes to a compositor that is gone, or reads from it: both are done by its event
/// source, when the loop prepares to wait and when it has waited. This one never has events; it goes first in both.
struct CompositorWatch {
    GSource base;
    int socket;
};

void look(GSource* source) {
    pollfd socket{.fd = reinterpret_cast<CompositorWatch*>(source)->socket, .events = 0, .revents = 0};
    if (poll(&socket, 1, 0) > 0) {
        runLogged(g_lost);
    }
}

gboolean beforeWaiting(GSource* source, gint* /*timeout*/) {
    look(source);
    return FALSE;
}

gboolean afterWaiting(GSource* source) {
    look(source);
    return FALSE;
}

void watchCompositor(GdkDisplay* display) {
    static GSourceFuncs functions{.prepare = &beforeWaiting,
                                  .check = &afterWaiting,
                                  .dispatch = nullptr,
                                  .finalize = nullptr,
                                  .closure_callback = nullptr,
                                  .closure_marshal = nullptr};
    GSource* const source = g_source_new(&functions, sizeof(CompositorWatch));
    reinterpret_cast<CompositorWatch*>(source)->socket = wl_display_get_fd(gdk_wayland_display_get_wl_display(display));
    g_source_set_priority(source, std::numeric_limits<gint>::min());
    g_source_attach(source, nullptr);
    g_source_unref(source);
}

#endif

}  // namespace

void onDisplayLoss(void (*lost)()) {
    g_lost = lost;
    // In the place of GDK's, which ends the process without a word to anybody.
    XSetIOErrorHandler(&onIoError);
#ifdef GDK_WINDOWING_WAYLAND
    if (GdkDisplay* const display = gdk_display_get_default(); GDK_IS_WAYLAND_DISPLAY(display)) {
        watchCompositor(display);
    }
#endif
}

}  // namespace nebrix::gui
