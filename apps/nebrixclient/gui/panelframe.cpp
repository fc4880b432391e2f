// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/gui/panelframe.h"

#include <gtk/gtk.h>
#include <wx/region.h>
#include <wx/toplevel.h>

#include <cmath>
#include <numbers>

#include "apps/nebrixclient/gui/gobjectptr.h"

namespace nebrix::gui {

namespace {

constexpr double kRadius = 10.0;
constexpr double kEdge = 2.0;
constexpr double kEdgeStrength = 0.25;  // between the colours of background and text

void roundedPath(cairo_t* cairo, GtkWidget* widget, double inset) {
    const double width = gtk_widget_get_allocated_width(widget) - inset;
    const double height = gtk_widget_get_allocated_height(widget) - inset;
    constexpr double kQuarter = std::numbers::pi / 2;
    cairo_new_path(cairo);
    cairo_arc(cairo, width - kRadius, inset + kRadius, kRadius, -kQuarter, 0);
    cairo_arc(cairo, width - kRadius, height - kRadius, kRadius, 0, kQuarter);
    cairo_arc(cairo, inset + kRadius, height - kRadius, kRadius, kQuarter, 2 * kQuarter);
    cairo_arc(cairo, inset + kRadius, inset + kRadius, kRadius, 2 * kQuarter, 3 * kQuarter);
    cairo_close_path(cairo);
}

GdkRGBA background(const wxTopLevelWindow& window) {
    return *static_cast<const GdkRGBA*>(window.GetBackgroundColour());
}

/// Some themes draw lines, and what a bar leaves empty, as dark as the ground.
void strengthenLines(GtkWidget* widget) {
    const GObjectPtr<GtkCssProvider, g_object_unref> css(gtk_css_provider_new());
    gtk_css_provider_load_from_data(
        css.get(), ".nebrix-panel separator, .nebrix-panel trough { background: alpha(currentColor, 0.25); }", -1,
        nullptr);
    gtk_style_context_add_class(gtk_widget_get_style_context(widget), "nebrix-panel");
    gtk_style_context_add_provider_for_screen(gtk_widget_get_screen(widget), GTK_STYLE_PROVIDER(css.get()),
                                              GTK_STYLE_PROVIDER_PRIORITY_APPLICATION);
}

bool isComposited(GtkWidget* widget) { return gdk_screen_is_composited(gtk_widget_get_screen(widget)) != FALSE; }

GdkRGBA edge(GtkWidget* widget, const GdkRGBA& ground) {
    GdkRGBA text;
    gtk_style_context_get_color(gtk_widget_get_style_context(widget), GTK_STATE_FLAG_NORMAL, &text);
    const auto between = [](double from, double to) { return from + (to - from) * kEdgeStrength; };
    return {between(ground.red, text.red), between(ground.green, text.green), between(ground.blue, text.blue), 1};
}

/// Outside of the round corners lies nothing; where a shape cuts them, of whole pixels, the edge goes on under those
/// that it covers in part.
gboolean drawBackground(GtkWidget* widget, cairo_t* cairo, gpointer window) {
    const GdkRGBA colour = background(*static_cast<wxTopLevelWindow*>(window));
    const GdkRGBA outside = isComposited(widget) ? GdkRGBA{} : edge(widget, colour);
    cairo_save(cairo);
    cairo_set_operator(cairo, CAIRO_OPERATOR_SOURCE);
    gdk_cairo_set_source_rgba(cairo, &outside);
    cairo_paint(cairo);
    cairo_set_operator(cairo, CAIRO_OPERATOR_OVER);
    roundedPath(cairo, widget, kEdge / 2);
    gdk_cairo_set_source_rgba(cairo, &colour);
    cairo_fill(cairo);
    cairo_restore(cairo);
    return GDK_EVENT_PROPAGATE;
}

gboolean drawEdge(GtkWidget* widget, cairo_t* cairo, gpointer window) {
    const GdkRGBA colour = edge(widget, background(*static_cast<wxTopLevelWindow*>(window)));
    cairo_save(cairo);
    gdk_cairo_set_source_rgba(cairo, &colour);
    cairo_set_line_width(cairo, kEdge);
    roundedPath(cairo, widget, kEdge / 2);
    cairo_stroke(cairo);
    cairo_restore(cairo);
    return GDK_EVENT_PROPAGATE;
}

/// GTK draws the texts of a window that is not the active one dimmed.
void keepContrast(GtkWidget* widget, GtkStateFlags /*before*/, gpointer /*unused*/) {
    if ((gtk_widget_get_state_flags(widget) & GTK_STATE_FLAG_BACKDROP) != 0) {
        gtk_widget_unset_state_flags(widget, GTK_STATE_FLAG_BACKDROP);
    }
}

/// Row by row: a shape made of a path is painted into two images of the window's size first, half a megabyte of memory
/// that the heap seldom gives back.
wxRegion roundedRegion(const wxSize& size) {
    constexpr int kRows = static_cast<int>(kRadius);
    wxRegion region(0, kRows, size.x, size.y - 2 * kRows);
    for (int row = 0; row < kRows; ++row) {
        const double up = kRadius - row - 0.5;  // from the corner's centre to the middle of the row
        const int inset = static_cast<int>(std::lround(kRadius - std::sqrt(kRadius * kRadius - up * up)));
        region.Union(inset, row, size.x - 2 * inset, 1);
        region.Union(inset, size.y - 1 - row, size.x - 2 * inset, 1);
    }
    return region;
}

void onCompositor(GtkWidget* /*widget*/, gpointer frame) { static_cast<PanelFrame*>(frame)->reshape(); }

}  // namespace

PanelFrame::PanelFrame(wxTopLevelWindow& window) : m_window(window) {
    GtkWidget* const widget = window.GetHandle();
    if (GdkVisual* const visual = gdk_screen_get_rgba_visual(gtk_widget_get_screen(widget)); visual != nullptr) {
        const bool realized = gtk_widget_get_realized(widget) != FALSE;
        if (realized) {
            gtk_widget_unrealize(widget);
        }
        gtk_widget_set_visual(widget, visual);
        if (realized) {
            gtk_widget_realize(widget);
        }
    }
    gtk_widget_set_app_paintable(widget, TRUE);
    window.SetBackgroundStyle(wxBG_STYLE_PAINT);  // else the client area fills its corners
    g_signal_connect(widget, "draw", G_CALLBACK(&drawBackground), &window);
    g_signal_connect_after(widget, "draw", G_CALLBACK(&drawEdge), &window);
    g_signal_connect(widget, "state-flags-changed", G_CALLBACK(&keepContrast), nullptr);
    g_signal_connect(widget, "composited-changed", G_CALLBACK(&onCompositor), this);
    keepContrast(widget, GTK_STATE_FLAG_NORMAL, nullptr);
    strengthenLines(widget);
}

PanelFrame::~PanelFrame() {
    if (GtkWidget* const widget = m_window.GetHandle(); widget != nullptr) {
        g_signal_handlers_disconnect_by_data(widget, this);
    }
}

void PanelFrame::reshape() {
    if (isComposited(m_window.GetHandle())) {
        m_window.SetShape(wxRegion());
        return;
    }
    m_window.SetShape(roundedRegion(m_window.GetSize()));
}

}  // namespace nebrix::gui
