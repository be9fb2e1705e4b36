// Gives the main window and its spaces list the keyboard back after a dialog. Called when an alert
// closes.
#include "ui/ui_internal.h"

namespace {

constexpr guint k_retry_interval_ms = 120;

void restore_main_window_focus() {
    if (g_window == nullptr) {
        return;
    }
    gtk_window_present(GTK_WINDOW(g_window));
    // On another page than the hub the field that had the keyboard keeps it.
    if (g_servers_list != nullptr && gtk_widget_get_mapped(g_servers_list) != FALSE) {
        focus_spaces_list();
    }
}

} // namespace

GtkWidget* g_servers_list = nullptr;

bool has_keyboard_within(GtkWidget* widget) {
    GtkWidget* const focus =
        g_window != nullptr ? gtk_window_get_focus(GTK_WINDOW(g_window)) : nullptr;
    return focus != nullptr && gtk_widget_is_ancestor(focus, widget) != FALSE;
}

void focus_list(GtkWidget* list) {
    if (list == nullptr || has_keyboard_within(list)) {
        return; // the user may have gone on to another row
    }
    // On the list itself the arrow keys do nothing.
    GtkListBox* const box = GTK_LIST_BOX(list);
    GtkListBoxRow* const selected = gtk_list_box_get_selected_row(box);
    GtkListBoxRow* const row =
        selected != nullptr ? selected : gtk_list_box_get_row_at_index(box, 0);
    gtk_widget_grab_focus(row != nullptr ? GTK_WIDGET(row) : list);
}

void focus_spaces_list() {
    focus_list(g_servers_list);
}

gboolean restore_main_window_focus_idle(gpointer) {
    restore_main_window_focus();
    return G_SOURCE_REMOVE;
}

gboolean restore_main_window_focus_retry(gpointer remaining_tries) {
    const int tries = GPOINTER_TO_INT(remaining_tries);
    restore_main_window_focus();
    if (tries >= 2) {
        g_timeout_add(k_retry_interval_ms, restore_main_window_focus_retry,
                      GINT_TO_POINTER(tries - 1));
    }
    return G_SOURCE_REMOVE;
}
