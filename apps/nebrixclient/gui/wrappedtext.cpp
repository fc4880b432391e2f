// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/gui/wrappedtext.h"

#include <gtk/gtk.h>
#include <wx/gdicmn.h>
#include <wx/sizer.h>
#include <wx/toplevel.h>

#include <algorithm>
#include <vector>

namespace nebrix::gui {
namespace {

void collect(wxWindow& window, std::vector<WrappedText*>& found) {
    for (wxWindow* const child : window.GetChildren()) {
        if (auto* const text = dynamic_cast<WrappedText*>(child); text != nullptr) {
            found.push_back(text);
        } else if (child != nullptr) {
            collect(*child, found);
        }
    }
}

/// Breaks every text to the width that the layout gave it; whether one wants another height now.
bool wrapToLayout(wxTopLevelWindow& window) {
    std::vector<WrappedText*> texts;
    collect(window, texts);
    bool changed = false;
    for (WrappedText* const text : texts) {
        changed = text->wrapTo(text->GetSize().x) || changed;
    }
    return changed;
}

/// A hyphen would look like one of the path or host name that is broken.
void breakWithoutHyphens(GtkLabel* label) {
    PangoAttrList* const attributes = pango_attr_list_new();
    pango_attr_list_insert(attributes, pango_attr_insert_hyphens_new(FALSE));
    gtk_label_set_attributes(label, attributes);
    pango_attr_list_unref(attributes);
}

}  // namespace

wxSize roomOnScreen() {
    constexpr int kDecorations = 40;  // pixels of a title bar, at most
    return wxGetClientDisplayRect().GetSize() - wxSize(kDecorations / 4, kDecorations);
}

WrappedText::WrappedText(wxWindow* parent, const wxString& text, int columns)
    : wxStaticText(parent, wxID_ANY, text), m_width(std::min(columns * GetCharWidth(), roomOnScreen().x * 3 / 4)) {
    gtk_label_set_line_wrap_mode(GTK_LABEL(m_widget), PANGO_WRAP_WORD_CHAR);
    SetMinSize(wxSize(m_width, -1));
    // Made as wide as its one line; a box around it would grow to that.
    SetSize(GetBestSize());
    breakWithoutHyphens(GTK_LABEL(m_widget));
}

bool WrappedText::wrapTo(int width) {
    const int before = GetBestSize().y;
    m_width = width;
    InvalidateBestSize();
    return GetBestSize().y != before;
}

wxSize WrappedText::DoGetBestSize() const {
    int least = 0;
    int natural = 0;
    gtk_widget_get_preferred_height_for_width(m_widget, std::max(m_width, 1), &least, &natural);
    return {m_width, natural};
}

void fitWrapped(wxTopLevelWindow& window) {
    window.GetSizer()->SetSizeHints(&window);
    window.Layout();
    if (wrapToLayout(window)) {
        window.GetSizer()->SetSizeHints(&window);
    }
}

void rewrap(wxTopLevelWindow& window) {
    if (wrapToLayout(window)) {
        window.Layout();
    }
}

}  // namespace nebrix::gui
