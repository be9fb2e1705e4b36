// The list of the hub's chat: a fresh one in the place of one that is done with, and which of its
// rows are painted. Called by the chat column and its rows. See ui/hub/hub_chat_internal.h.
#include "ui/hub/hub_chat_internal.h"

#include "ui/lean_layout.h"

namespace {

/// Of the rows of a list that is done with, so many go in one turn of the main loop: they take as
/// long to go as they took to come.
constexpr int k_rows_a_turn = 25;

/// Holds the list, and hidden beside it those that are done with.
GtkWidget* g_holder = nullptr;

GtkWidget* create_list() {
    GtkWidget* const list = gtk_list_box_new();
    gtk_widget_add_css_class(list, "hub-chat-list");
    gtk_list_box_set_selection_mode(GTK_LIST_BOX(list), GTK_SELECTION_NONE);
    gtk_list_box_set_adjustment(GTK_LIST_BOX(list), gtk_scrolled_window_get_vadjustment(
                                                        GTK_SCROLLED_WINDOW(g_hub_chat_scroll)));
    set_labelled_by(list, g_hub_chat_title_label);
    return list;
}

/// `list` is the callback's own reference.
gboolean take_some_rows_away(gpointer list) {
    GtkWidget* const widget = GTK_WIDGET(list);
    for (int i = 0; i < k_rows_a_turn; ++i) {
        GtkWidget* const row = gtk_widget_get_last_child(widget);
        if (row == nullptr) {
            if (gtk_widget_get_parent(widget) != nullptr) { // not with the window's end
                gtk_box_remove(GTK_BOX(gtk_widget_get_parent(widget)), widget);
            }
            return G_SOURCE_REMOVE;
        }
        gtk_list_box_remove(GTK_LIST_BOX(list), row);
    }
    return G_SOURCE_CONTINUE;
}

/// Rows within a page of what is seen are painted. Thousands of them would each be gone through for
/// every picture; so the others are transparent, which ends it at once.
void paint_rows_near(double top, double bottom) {
    for (GtkWidget* row = gtk_widget_get_first_child(g_hub_chat_list); row != nullptr;
         row = gtk_widget_get_next_sibling(row)) {
        GtkAllocation place;
        gtk_widget_get_allocation(row, &place);
        const bool is_near = place.y + place.height >= top && place.y <= bottom;
        gtk_widget_set_opacity(row, is_near ? 1.0 : 0.0);
    }
}

/// Between the layout and the painting of each picture.
void on_laid_out(GdkFrameClock*, gpointer) {
    if (g_hub_chat_list == nullptr || !gtk_widget_get_mapped(g_hub_chat_list)) {
        return;
    }
    double y = 0.0;
    gtk_widget_translate_coordinates(g_hub_chat_list, g_hub_chat_scroll, 0.0, 0.0, nullptr, &y);
    const double page = gtk_widget_get_height(g_hub_chat_scroll);
    paint_rows_near(-y - page, -y + 2.0 * page);
}

void on_realize(GtkWidget* scroll, gpointer) {
    // The layout itself is a handler of the same signal, connected before or after this one.
    g_signal_connect_after(gtk_widget_get_frame_clock(scroll), "layout", G_CALLBACK(on_laid_out),
                           nullptr);
}

void on_unrealize(GtkWidget* scroll, gpointer) {
    g_signal_handlers_disconnect_by_func(gtk_widget_get_frame_clock(scroll),
                                         reinterpret_cast<gpointer>(on_laid_out), nullptr);
}

} // namespace

void create_hub_chat_list() {
    keep(g_holder, gtk_box_new(GTK_ORIENTATION_VERTICAL, 0));
    GtkWidget* const space = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
    gtk_widget_set_vexpand(space, TRUE); // a short chat stands at the bottom
    gtk_box_append(GTK_BOX(g_holder), space);
    gtk_scrolled_window_set_child(GTK_SCROLLED_WINDOW(g_hub_chat_scroll), g_holder);
    measure_width_only(GTK_VIEWPORT(gtk_widget_get_parent(g_holder)));
    keep(g_hub_chat_list, create_list());
    gtk_box_append(GTK_BOX(g_holder), g_hub_chat_list);
    g_signal_connect(g_hub_chat_scroll, "realize", G_CALLBACK(on_realize), nullptr);
    g_signal_connect(g_hub_chat_scroll, "unrealize", G_CALLBACK(on_unrealize), nullptr);
}

void replace_hub_chat_list() {
    GtkWidget* const old = g_hub_chat_list;
    if (gtk_widget_get_first_child(old) == nullptr) {
        return;
    }
    gtk_widget_set_visible(old, FALSE);
    g_idle_add_full(G_PRIORITY_DEFAULT_IDLE, take_some_rows_away, g_object_ref(old),
                    g_object_unref);
    keep(g_hub_chat_list, create_list());
    gtk_box_append(GTK_BOX(g_holder), g_hub_chat_list);
}
