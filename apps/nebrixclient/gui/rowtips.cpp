// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/gui/rowtips.h"

#include <gtk/gtk.h>
#include <wx/dataview.h>

#include <memory>
#include <utility>

#include "apps/nebrixclient/gui/deferredcall.h"

namespace nebrix::gui {
namespace {

using RowText = std::function<wxString(unsigned)>;

gboolean showTip(GtkWidget* list, gint x, gint y, gboolean byKeyboard, GtkTooltip* tip, gpointer data) {
    GtkTreePath* path = nullptr;
    GtkTreeView* const view = GTK_TREE_VIEW(list);
    if (gtk_tree_view_get_tooltip_context(view, &x, &y, byKeyboard, nullptr, &path, nullptr) == FALSE) {
        return FALSE;
    }
    const std::unique_ptr<GtkTreePath, decltype(&gtk_tree_path_free)> held(path, gtk_tree_path_free);
    wxString text;
    runLogged([&] { text = (*static_cast<RowText*>(data))(static_cast<unsigned>(*gtk_tree_path_get_indices(path))); });
    gtk_tooltip_set_text(tip, text.utf8_str());
    gtk_tree_view_set_tooltip_row(view, tip, path);
    return text.empty() ? FALSE : TRUE;
}

void deleteText(gpointer text, GClosure* /*closure*/) { delete static_cast<RowText*>(text); }

}  // namespace

void giveRowsTips(wxDataViewCtrl& list, RowText text) {
    GtkWidget* const view = list.GtkGetTreeView();
    g_signal_connect_data(view, "query-tooltip", G_CALLBACK(&showTip), new RowText(std::move(text)), deleteText,
                          GConnectFlags{});
    gtk_widget_set_has_tooltip(view, TRUE);
}

}  // namespace nebrix::gui
