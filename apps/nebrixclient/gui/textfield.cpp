#include "apps/nebrixclient/gui/textfield.h"

#include <gtk/gtk.h>
#include <wx/textctrl.h>

namespace nebrix::gui {

wxTextCtrl* makeTextField(wxWindow* parent, int columns, long style) {
    auto* const field = new wxTextCtrl(parent, wxID_ANY, wxString(), wxDefaultPosition, wxDefaultSize, style);
    // The theme's own height, which is above what wxWidgets asks for, and which a hidden field could not tell later.
    int height = 0;
    gtk_widget_get_preferred_height(field->GetHandle(), nullptr, &height);
    field->SetMinSize(wxSize(columns * field->GetCharWidth(), height));
    return field;
}

}  // namespace nebrix::gui
