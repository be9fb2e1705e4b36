// See ui/widgets.h.
#include "ui/widgets.h"

namespace {

constexpr int k_row_end_margin = 8;

gboolean tell_all(GtkWidget* label, int, int, gboolean, GtkTooltip* tooltip, gpointer) {
    if (pango_layout_is_ellipsized(gtk_label_get_layout(GTK_LABEL(label))) == FALSE) {
        return FALSE; // it would only repeat what is there
    }
    gtk_tooltip_set_text(tooltip, gtk_label_get_text(GTK_LABEL(label)));
    return TRUE;
}

} // namespace

void set_margins(GtkWidget* widget, int margin) {
    gtk_widget_set_margin_start(widget, margin);
    gtk_widget_set_margin_end(widget, margin);
    gtk_widget_set_margin_top(widget, margin);
    gtk_widget_set_margin_bottom(widget, margin);
}

void set_tooltip_and_name(GtkWidget* widget, const char* text) {
    gtk_widget_set_tooltip_text(widget, text);
    gtk_accessible_update_property(GTK_ACCESSIBLE(widget), GTK_ACCESSIBLE_PROPERTY_LABEL, text, -1);
    // A button's icon, which GTK gives as its label, has no name.
    gtk_accessible_reset_relation(GTK_ACCESSIBLE(widget), GTK_ACCESSIBLE_RELATION_LABELLED_BY);
}

void set_labelled_by(GtkWidget* widget, GtkWidget* label) {
    gtk_accessible_update_relation(GTK_ACCESSIBLE(widget), GTK_ACCESSIBLE_RELATION_LABELLED_BY,
                                   label, nullptr, -1);
}

void tell_cut_text(GtkWidget* label) {
    gtk_widget_set_has_tooltip(label, TRUE);
    g_signal_connect(label, "query-tooltip", G_CALLBACK(tell_all), nullptr);
}

GtkWidget* append_label(GtkWidget* box, const char* text,
                        std::initializer_list<const char*> classes) {
    GtkWidget* const label = gtk_label_new(text);
    for (const char* css_class : classes) {
        gtk_widget_add_css_class(label, css_class);
    }
    gtk_box_append(GTK_BOX(box), label);
    return label;
}

GtkWidget* append_caption(GtkWidget* box, const char* text,
                          std::initializer_list<const char*> classes) {
    GtkWidget* const label = append_label(box, text, classes);
    gtk_label_set_xalign(GTK_LABEL(label), 0.0F);
    gtk_label_set_ellipsize(GTK_LABEL(label), PANGO_ELLIPSIZE_END);
    gtk_label_set_single_line_mode(GTK_LABEL(label), TRUE); // names come from a server
    tell_cut_text(label);
    return label;
}

GtkWidget* append_speaking_dot(GtkWidget* box, bool speaking) {
    GtkWidget* const dot = append_label(box, "●", {"speaking-indicator"});
    show_speaking(dot, speaking);
    return dot;
}

void show_speaking(GtkWidget* dot, bool speaking) {
    gtk_widget_remove_css_class(dot, speaking ? "silent" : "speaking");
    gtk_widget_add_css_class(dot, speaking ? "speaking" : "silent");
}

GtkWidget* create_text_button(const char* text, const char* css_class, GCallback clicked) {
    GtkWidget* const button = gtk_button_new_with_label(text);
    gtk_widget_add_css_class(button, css_class);
    g_signal_connect(button, "clicked", clicked, nullptr);
    return button;
}

GtkWidget* create_icon_button(const char* icon, const char* css_class, const char* name) {
    GtkWidget* const button = gtk_button_new_from_icon_name(icon);
    gtk_widget_add_css_class(button, css_class);
    gtk_widget_set_valign(button, GTK_ALIGN_CENTER);
    set_tooltip_and_name(button, name);
    return button;
}

GtkWidget* create_box(GtkOrientation orientation, int spacing, const char* css_class) {
    GtkWidget* const box = gtk_box_new(orientation, spacing);
    gtk_widget_add_css_class(box, css_class);
    return box;
}

GtkWidget* create_row_box(GtkOrientation orientation, int spacing, int start_margin, int gap) {
    GtkWidget* const box = gtk_box_new(orientation, spacing);
    gtk_widget_set_margin_start(box, start_margin);
    gtk_widget_set_margin_end(box, k_row_end_margin);
    gtk_widget_set_margin_top(box, gap);
    gtk_widget_set_margin_bottom(box, gap);
    return box;
}

GtkWidget* create_list_row(GtkWidget* contents) {
    GtkWidget* const row = gtk_list_box_row_new();
    gtk_list_box_row_set_child(GTK_LIST_BOX_ROW(row), contents);
    return row;
}

GtkWidget* create_reading_row(GtkWidget* contents) {
    GtkWidget* const row = create_list_row(contents);
    gtk_list_box_row_set_selectable(GTK_LIST_BOX_ROW(row), FALSE);
    gtk_list_box_row_set_activatable(GTK_LIST_BOX_ROW(row), FALSE);
    return row;
}

void set_row_index(GtkWidget* widget, const char* key, std::int32_t index) {
    g_object_set_data(G_OBJECT(widget), key, GINT_TO_POINTER(index + 1));
}

std::int32_t row_index(gpointer widget, const char* key) {
    return widget != nullptr ? GPOINTER_TO_INT(g_object_get_data(G_OBJECT(widget), key)) - 1 : -1;
}

GtkWidget* create_vertical_scroller(GtkWidget* child) {
    GtkWidget* const scroller = gtk_scrolled_window_new();
    gtk_scrolled_window_set_policy(GTK_SCROLLED_WINDOW(scroller), GTK_POLICY_NEVER,
                                   GTK_POLICY_AUTOMATIC);
    gtk_scrolled_window_set_child(GTK_SCROLLED_WINDOW(scroller), child);
    return scroller;
}
