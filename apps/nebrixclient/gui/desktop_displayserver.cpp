// SPDX-License-Identifier: Apache-2.0
#include <gtk-layer-shell.h>
#include <gtk/gtk.h>
#include <wx/window.h>

#include <cstdlib>

#include "apps/nebrixclient/gui/desktop.h"

#ifdef GDK_WINDOWING_X11
#include <gdk/gdkx.h>
#endif

/// What X11, XWayland and Wayland each need for a window that is no ordinary one.
namespace nebrix::gui::desktop {

namespace {

/// A window manager that keeps no window above the others, such as those of Wayland's tiling compositors, is asked to
/// leave this one alone: it would put it where it likes, and give it the keyboard.
void passByWindowManager([[maybe_unused]] GtkWidget* widget) {
#ifdef GDK_WINDOWING_X11
    gtk_widget_realize(widget);
    GdkWindow* const window = gtk_widget_get_window(widget);
    if (GDK_IS_X11_WINDOW(window) &&
        !gdk_x11_screen_supports_net_wm_hint(gtk_widget_get_screen(widget),
                                             gdk_atom_intern_static_string("_NET_WM_STATE_ABOVE"))) {
        gdk_window_set_override_redirect(window, TRUE);
    }
#endif
}

/// Where a Wayland compositor has places for such windows (wlr-layer-shell): in the corner, above the others, without
/// the keyboard.
void placeByCompositor(GtkWindow* window) {
    if (gtk_layer_is_supported() != FALSE) {
        gtk_layer_init_for_window(window);
        gtk_layer_set_namespace(window, "notifications");
        gtk_layer_set_anchor(window, GTK_LAYER_SHELL_EDGE_TOP, TRUE);
        gtk_layer_set_anchor(window, GTK_LAYER_SHELL_EDGE_RIGHT, TRUE);
    }
}

}  // namespace

void makeNotification(wxWindow& window) {
    GtkWindow* const widget = GTK_WINDOW(window.GetHandle());
    gtk_window_set_type_hint(widget, GDK_WINDOW_TYPE_HINT_NOTIFICATION);
    gtk_window_set_skip_taskbar_hint(widget, TRUE);
    gtk_window_set_skip_pager_hint(widget, TRUE);
    gtk_window_set_accept_focus(widget, FALSE);
    gtk_window_set_focus_on_map(widget, FALSE);
    passByWindowManager(GTK_WIDGET(widget));
    placeByCompositor(widget);
}

std::shared_ptr<void> catchInput() {
    GdkScreen* const screen = gdk_screen_get_default();
    GdkVisual* const transparent = gdk_screen_get_rgba_visual(screen);
    const bool onXWayland = canPopUpAnywhere() && std::getenv("WAYLAND_DISPLAY") != nullptr;
    if (!onXWayland || transparent == nullptr || gdk_screen_is_composited(screen) == FALSE) {
        return nullptr;
    }
    GtkWidget* const window = gtk_window_new(GTK_WINDOW_POPUP);
    gtk_widget_set_visual(window, transparent);
    gtk_widget_set_app_paintable(window, TRUE);  // with nothing
    GdkWindow* const root = gdk_get_default_root_window();
    gtk_window_resize(GTK_WINDOW(window), gdk_window_get_width(root), gdk_window_get_height(root));
    gtk_widget_show(window);
    return {window, gtk_widget_destroy};
}

}  // namespace nebrix::gui::desktop
