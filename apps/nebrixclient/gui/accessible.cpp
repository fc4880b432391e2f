// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/gui/accessible.h"

#include <gtk/gtk.h>
#include <wx/control.h>
#include <wx/dialog.h>
#include <wx/stattext.h>
#include <wx/toplevel.h>
#include <wx/window.h>

namespace nebrix::gui {
namespace {

void findFocusable(GtkWidget* widget, gpointer found) {
    GtkWidget** const result = static_cast<GtkWidget**>(found);
    if (*result != nullptr) {
        return;
    }
    if (gtk_widget_get_can_focus(widget)) {
        *result = widget;
    } else if (GTK_IS_CONTAINER(widget)) {
        gtk_container_forall(GTK_CONTAINER(widget), &findFocusable, found);
    }
}

/// The widget that takes the keyboard: a list or a multi-line text lies within a scrolling frame.
GtkWidget* focusable(const wxWindow& window) {
    GtkWidget* const outer = window.GetHandle();
    GtkWidget* found = nullptr;
    if (GTK_IS_SCROLLED_WINDOW(outer)) {
        gtk_container_forall(GTK_CONTAINER(outer), &findFocusable, static_cast<gpointer>(&found));
    } else {
        findFocusable(outer, static_cast<gpointer>(&found));
    }
    return found != nullptr ? found : outer;
}

}  // namespace

void setAccessibleName(wxWindow& window, const wxString& name) {
    AtkObject* const accessible = gtk_widget_get_accessible(focusable(window));
    if (accessible != nullptr) {
        atk_object_set_name(accessible, wxControl::RemoveMnemonics(name).utf8_str());
    }
}

void setLabelFor(wxStaticText& label, wxWindow& control) {
    if (GTK_IS_LABEL(label.GetHandle())) {
        gtk_label_set_mnemonic_widget(GTK_LABEL(label.GetHandle()), focusable(control));
    }
    setAccessibleName(control, label.GetLabel());
}

void announceAsDialog(wxDialog& dialog) {
    AtkObject* const accessible = gtk_widget_get_accessible(dialog.GetHandle());
    if (accessible != nullptr) {
        atk_object_set_role(accessible, ATK_ROLE_DIALOG);
    }
}

void announceAsNotification(wxTopLevelWindow& window, const wxString& name) {
    AtkObject* const accessible = gtk_widget_get_accessible(window.GetHandle());
    if (accessible != nullptr) {
        atk_object_set_role(accessible, ATK_ROLE_NOTIFICATION);
        atk_object_set_name(accessible, name.utf8_str());
    }
}

void announce(wxWindow& window, const wxString& text) {
    AtkObject* const accessible = gtk_widget_get_accessible(window.GetHandle());
    if (accessible != nullptr && g_signal_lookup("announcement", ATK_TYPE_OBJECT) != 0) {
        g_signal_emit_by_name(accessible, "announcement", static_cast<const char*>(text.utf8_str()));
    }
}

}  // namespace nebrix::gui
