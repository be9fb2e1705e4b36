// Where the keyboard goes: back to the main window and its spaces list after a dialog, and from
// list to list. Called when an alert closes and by the shell.
#include "ui/hub/hub_chat_internal.h"
#include "ui/ui_internal.h"

#include <vector>

namespace {

constexpr guint k_retry_delay_ms = 80;
constexpr guint k_retry_interval_ms = 120;
constexpr int k_focus_tries = 4;

std::uint32_t g_presses_at_restore = 0; // when a message was closed

bool is_popup_over_main(GtkWindow* window) {
    return gtk_widget_has_css_class(GTK_WIDGET(window), "hub-popup") != FALSE &&
           gtk_widget_get_mapped(GTK_WIDGET(window)) != FALSE;
}

void restore_main_window_focus() {
    if (g_window == nullptr) {
        return;
    }
    GtkWindow* const front = front_window();
    gtk_window_present(front);
    if (GTK_WIDGET(front) != g_window) {
        return; // a popup keeps the keyboard on its own field
    }
    // Who has gone on to write meanwhile goes on, and on another page than the hub the field that
    // had the keyboard keeps it.
    const bool goes_on = count_window_presses() != g_presses_at_restore;
    if (!goes_on && g_servers_list != nullptr && gtk_widget_get_mapped(g_servers_list) != FALSE) {
        focus_spaces_list();
    }
}

std::vector<GObjectPtr<GtkWidget>> g_passed_lists; // while Tab moves the keyboard
bool g_had_selected_space = false;

GtkListBoxRow* selected_space_row() {
    return g_servers_list != nullptr ? gtk_list_box_get_selected_row(GTK_LIST_BOX(g_servers_list))
                                     : nullptr;
}

GtkWidget* ancestor_of(GtkWidget* focus, GType type) {
    return focus != nullptr ? gtk_widget_get_ancestor(focus, type) : nullptr;
}

void pass_by(GtkWidget* list) {
    if (list != nullptr) {
        g_passed_lists.emplace_back(static_cast<GtkWidget*>(g_object_ref(list)));
        gtk_widget_set_can_focus(list, FALSE);
    }
}

// Between a row and the buttons in it. Not by the row's own way, which takes the keyboard for
// elsewhere while the window is not the active one.
bool move_within_row(GtkWidget* row, GtkWidget* focus, GtkDirectionType direction) {
    const bool is_forward = direction == GTK_DIR_TAB_FORWARD;
    if ((focus != row || is_forward) &&
        gtk_widget_child_focus(gtk_list_box_row_get_child(GTK_LIST_BOX_ROW(row)), direction)) {
        return true;
    }
    return focus != row && !is_forward && gtk_widget_grab_focus(row);
}

// Whether it is done with: the keyboard has gone to a button in the row that has it. From row to
// row go the arrow keys; GTK's own Tab goes through all rows, and selects each.
bool move_by_tab(GtkWidget* focus, GtkDirectionType direction) {
    GtkWidget* const row = ancestor_of(focus, GTK_TYPE_LIST_BOX_ROW);
    if (row != nullptr && move_within_row(row, focus, direction)) {
        return true;
    }
    pass_by(ancestor_of(focus, GTK_TYPE_LIST_BOX));
    // Tab comes to what scrolls it: the first of its rows is the oldest message.
    pass_by(g_hub_chat_list);
    return false;
}

void before_move_focus(GtkWindow* window, GtkDirectionType direction, gpointer) {
    const bool is_tab = direction == GTK_DIR_TAB_FORWARD || direction == GTK_DIR_TAB_BACKWARD;
    if (is_tab && move_by_tab(gtk_window_get_focus(window), direction)) {
        g_signal_stop_emission_by_name(window, "move-focus");
    } else if (is_tab || g_servers_list == nullptr || !has_keyboard_within(g_servers_list)) {
        g_keyboard_is_passing = true;
        g_had_selected_space = selected_space_row() != nullptr;
    }
}

void after_move_focus(GtkWindow*, GtkDirectionType, gpointer) {
    if (!g_keyboard_is_passing) {
        return;
    }
    for (const auto& list : g_passed_lists) {
        gtk_widget_set_can_focus(list.get(), TRUE);
    }
    g_passed_lists.clear();
    if (!g_had_selected_space && selected_space_row() != nullptr) {
        gtk_list_box_unselect_all(GTK_LIST_BOX(g_servers_list));
    }
    g_keyboard_is_passing = false;
}

} // namespace

GtkWidget* g_servers_list = nullptr;
bool g_keyboard_is_passing = false;

void watch_keyboard_moves(GtkWidget* window) {
    g_signal_connect(window, "move-focus", G_CALLBACK(before_move_focus), nullptr);
    g_signal_connect_after(window, "move-focus", G_CALLBACK(after_move_focus), nullptr);
}

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

GtkWindow* front_window() {
    GListModel* const windows = gtk_window_get_toplevels();
    for (guint i = 0; i < g_list_model_get_n_items(windows); ++i) {
        const GObjectPtr<GtkWindow> window(
            static_cast<GtkWindow*>(g_list_model_get_item(windows, i)));
        if (is_popup_over_main(window.get())) {
            return window.get(); // it lives as long as it is among them
        }
    }
    return GTK_WINDOW(g_window);
}

void note_message_closed() {
    g_presses_at_restore = count_window_presses();
}

void restore_main_window_focus_soon() {
    note_message_closed();
    g_idle_add(restore_main_window_focus_idle, nullptr);
    g_timeout_add(k_retry_delay_ms, restore_main_window_focus_retry,
                  GINT_TO_POINTER(k_focus_tries));
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
