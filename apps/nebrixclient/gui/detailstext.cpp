// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/gui/detailstext.h"

#include <gtk/gtk.h>

#include <algorithm>

#include "apps/nebrixclient/gui/gobjectptr.h"

namespace nebrix::gui {
namespace {

constexpr int kMargin = 4;  // pixels around the text
/// Characters that are measured: more than any screen shows.
constexpr std::size_t kMeasured = 20'000;

}  // namespace

DetailsText::DetailsText(wxWindow* parent)
    : wxTextCtrl(parent, wxID_ANY, wxString(), wxDefaultPosition, wxDefaultSize,
                 wxTE_MULTILINE | wxTE_READONLY | wxTE_BESTWRAP | wxBORDER_STATIC) {
    GtkTextView* const view = GTK_TEXT_VIEW(gtk_bin_get_child(GTK_BIN(m_widget)));
    gtk_text_view_set_left_margin(view, kMargin);
    gtk_text_view_set_right_margin(view, kMargin);
    gtk_text_view_set_top_margin(view, kMargin);
    gtk_text_view_set_bottom_margin(view, kMargin);
    // There is nothing to type: the caret would only blink.
    gtk_text_view_set_cursor_visible(view, FALSE);
}

void DetailsText::SetWindowStyleFlag(long style) {
    wxTextCtrl::SetWindowStyleFlag(style);
    const bool framed = (style & wxBORDER_MASK) == wxBORDER_SIMPLE;
    gtk_scrolled_window_set_shadow_type(GTK_SCROLLED_WINDOW(m_widget), framed ? GTK_SHADOW_IN : GTK_SHADOW_NONE);
}

int DetailsText::heightFor(int width, int most) const {
    const wxString text = GetValue().Left(kMeasured);
    const GObjectPtr<PangoLayout, g_object_unref> layout(gtk_widget_create_pango_layout(m_widget, text.utf8_str()));
    pango_layout_set_wrap(layout.get(), PANGO_WRAP_WORD_CHAR);
    pango_layout_set_width(layout.get(), std::max(width - 4 * kMargin, 1) * PANGO_SCALE);
    int height = 0;
    pango_layout_get_pixel_size(layout.get(), nullptr, &height);
    return std::min(height + 4 * kMargin, most);
}

}  // namespace nebrix::gui
