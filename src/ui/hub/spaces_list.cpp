// The hub's list of spaces, rooms and who is present. Called after every change of what it shows.
#include "ui/hub/hub_internal.h"
#include "ui/hub/popups/popups_internal.h"
#include "ui/hub/space_rows_internal.h"
#include "ui/kept_rows.h"

#include <utility>

namespace {

// The removal of a row is the only thing that makes GTK forget that the cursor is on it.
gboolean take_cursor_off(gpointer removed_row) {
    GtkWidget* const row = GTK_WIDGET(removed_row);
    if (g_servers_list == nullptr || gtk_widget_get_parent(row) != nullptr) {
        return G_SOURCE_REMOVE;
    }
    const bool was_refreshing = std::exchange(g_refreshing_hub_list, true);
    GtkListBox* const list = GTK_LIST_BOX(g_servers_list);
    gtk_list_box_append(list, row);
    gtk_list_box_remove(list, row);
    if (GtkListBoxRow* const focused = focused_row(list)) {
        gtk_widget_grab_focus(GTK_WIDGET(focused)); // the cursor goes where the keyboard is
    }
    g_refreshing_hub_list = was_refreshing;
    return G_SOURCE_REMOVE;
}

} // namespace

bool g_refreshing_hub_list = false;

void take_list_cursor_off_removed_row(GtkListBoxRow* row) {
    if (g_servers_list != nullptr && gtk_widget_get_parent(GTK_WIDGET(row)) == nullptr) {
        g_idle_add_full(G_PRIORITY_HIGH, take_cursor_off, g_object_ref(row), g_object_unref);
    }
}

void refresh_hub_server_list() {
    if (g_servers_list == nullptr) {
        return;
    }
    const bool was_refreshing = std::exchange(g_refreshing_hub_list, true);
    dismiss_hub_context_popover(); // its row may go
    show_rows(GTK_LIST_BOX(g_servers_list), hub_list_rows(), [](const HubListRow& row) {
        return row.kind == HubListRow::Kind::space && row.space_index == g_selected_server_index;
    });
    g_refreshing_hub_list = was_refreshing;
    update_hub_space_actions();
    update_hub_empty_state();
}

void update_hub_empty_state() {
    if (g_empty_spaces_box != nullptr) {
        gtk_widget_set_visible(g_empty_spaces_box, g_hub_server_count == 0);
    }
}
