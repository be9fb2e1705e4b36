// See ui/kept_rows.h.
#include "ui/kept_rows.h"

GtkListBoxRow* focused_row(GtkListBox* list) {
    GtkRoot* const root = gtk_widget_get_root(GTK_WIDGET(list));
    GtkWidget* const focus = root != nullptr ? gtk_root_get_focus(root) : nullptr;
    GtkWidget* const row =
        focus != nullptr ? gtk_widget_get_ancestor(focus, GTK_TYPE_LIST_BOX_ROW) : nullptr;
    return row != nullptr && gtk_widget_get_parent(row) == GTK_WIDGET(list) ? GTK_LIST_BOX_ROW(row)
                                                                            : nullptr;
}

GtkAdjustment* list_scrolling(GtkListBox* list) {
    GtkWidget* const scroller = gtk_widget_get_ancestor(GTK_WIDGET(list), GTK_TYPE_SCROLLED_WINDOW);
    return scroller != nullptr ? gtk_scrolled_window_get_vadjustment(GTK_SCROLLED_WINDOW(scroller))
                               : nullptr;
}
