// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/gui/textfield.h"

#include <gtk/gtk.h>
#include <wx/textctrl.h>

#include <algorithm>

#include "apps/nebrixclient/gui/wrappedtext.h"

namespace nebrix::gui {

wxTextCtrl* makeTextField(wxWindow* parent, int columns, long style) {
    auto* const field = new wxTextCtrl(parent, wxID_ANY, wxString(), wxDefaultPosition, wxDefaultSize, style);
    // The theme's own height, which is above what wxWidgets asks for, and which a hidden field could not tell later.
    int height = 0;
    gtk_widget_get_preferred_height(field->GetHandle(), nullptr, &height);
    field->SetMinSize(wxSize(std::min(columns * field->GetCharWidth(), roomOnScreen().x / 3), height));
    return field;
}

}  // namespace nebrix::gui
