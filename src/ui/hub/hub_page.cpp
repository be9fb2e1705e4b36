// The hub page and the columns of its Spaces tab. Called by the shell.
#include "ui/hub/hub_internal.h"

#include "backend/spaces_api.h"
#include "ui/localisation.h"

namespace {

constexpr int k_column_gap = 12;
constexpr int k_tab_margin = 12;
constexpr int k_user_column_width = 280;
constexpr int k_spaces_column_width = 360;
constexpr int k_user_box_spacing = 6;
constexpr int k_user_box_gap = 8;

GtkWidget* create_column(int width) {
    GtkWidget* const column = gtk_box_new(GTK_ORIENTATION_VERTICAL, k_column_gap);
    gtk_widget_add_css_class(column, "settings-section");
    gtk_widget_set_size_request(column, width, -1);
    return column;
}

// A line of text from the start of its column, cut where the column ends.
GtkWidget* append_caption(GtkWidget* box, const char* text, const char* css_class) {
    GtkWidget* const label = gtk_label_new(text);
    gtk_label_set_xalign(GTK_LABEL(label), 0.0F);
    gtk_label_set_ellipsize(GTK_LABEL(label), PANGO_ELLIPSIZE_END);
    gtk_widget_add_css_class(label, css_class);
    gtk_box_append(GTK_BOX(box), label);
    return label;
}

// Of whatever length the text is, the column keeps its width.
void let_shrink(GtkWidget* label) {
    gtk_label_set_max_width_chars(GTK_LABEL(label), 1);
}

void let_wrap(GtkWidget* label) {
    gtk_label_set_ellipsize(GTK_LABEL(label), PANGO_ELLIPSIZE_NONE);
    gtk_label_set_wrap(GTK_LABEL(label), TRUE);
}

GtkWidget* create_user_column() {
    GtkWidget* const column = create_column(k_user_column_width);
    gtk_widget_set_hexpand(column, FALSE); // whatever in it does
    keep(g_hub_title_label, append_caption(column, tr("hub_title"), "settings-title"));
    keep(g_hub_subtitle_label, append_caption(column, tr("hub_subtitle"), "settings-description"));
    let_wrap(g_hub_subtitle_label);
    let_shrink(g_hub_subtitle_label);

    GtkWidget* const user = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, k_user_box_spacing);
    gtk_widget_set_margin_top(user, k_user_box_gap);
    keep(g_hub_user_name_label, append_caption(user, "-", "hub-user-name"));
    let_shrink(g_hub_user_name_label);
    gtk_widget_set_hexpand(g_hub_user_name_label, TRUE);
    gtk_box_append(GTK_BOX(column), user);
    keep(g_hub_user_email_label, append_caption(column, "-", "hub-user-email"));
    let_shrink(g_hub_user_email_label);
    return column;
}

GtkWidget* create_empty_box() {
    GtkWidget* const box = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
    gtk_widget_add_css_class(box, "settings-section");
    keep(g_empty_spaces_label, append_caption(box, tr("hub_empty_spaces"), "settings-description"));
    let_wrap(g_empty_spaces_label);
    return box;
}

GtkWidget* create_spaces_column() {
    GtkWidget* const column = create_column(k_spaces_column_width);
    gtk_widget_set_hexpand(column, TRUE);
    GtkWidget* const header = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, k_user_box_spacing);
    keep(g_hub_spaces_title_label,
         append_caption(header, tr("hub_spaces_available"), "settings-option-title"));
    gtk_box_append(GTK_BOX(column), header);

    keep(g_servers_list, gtk_list_box_new());
    gtk_widget_add_css_class(g_servers_list, "peer-list");
    gtk_list_box_set_selection_mode(GTK_LIST_BOX(g_servers_list), GTK_SELECTION_SINGLE);
    gtk_list_box_set_activate_on_single_click(GTK_LIST_BOX(g_servers_list), FALSE);
    gtk_accessible_update_relation(GTK_ACCESSIBLE(g_servers_list),
                                   GTK_ACCESSIBLE_RELATION_LABELLED_BY, g_hub_spaces_title_label,
                                   nullptr, -1);

    // As high as its rows, as long as the column has the room: the box below stands right under it.
    GtkWidget* const scrolled = gtk_scrolled_window_new();
    gtk_widget_add_css_class(scrolled, "hub-spaces-scroller");
    gtk_scrolled_window_set_policy(GTK_SCROLLED_WINDOW(scrolled), GTK_POLICY_NEVER,
                                   GTK_POLICY_AUTOMATIC);
    gtk_scrolled_window_set_propagate_natural_height(GTK_SCROLLED_WINDOW(scrolled), TRUE);
    gtk_scrolled_window_set_child(GTK_SCROLLED_WINDOW(scrolled), g_servers_list);
    gtk_box_append(GTK_BOX(column), scrolled);

    keep(g_empty_spaces_box, create_empty_box());
    gtk_box_append(GTK_BOX(column), g_empty_spaces_box);
    return column;
}

} // namespace

GtkWidget* create_hub_servers_tab() {
    GtkWidget* const columns = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, k_column_gap);
    set_margins(columns, k_tab_margin);
    gtk_box_append(GTK_BOX(columns), create_user_column());
    gtk_box_append(GTK_BOX(columns), create_spaces_column());
    update_hub_empty_state();
    Backend_SetSpacesLoadedCallback(refresh_hub_server_list);

    GtkWidget* const tab = gtk_scrolled_window_new();
    gtk_scrolled_window_set_child(GTK_SCROLLED_WINDOW(tab), columns);
    return tab;
}

GtkWidget* create_hub_page() {
    keep(g_hub_notebook, gtk_notebook_new());
    gtk_notebook_set_tab_pos(GTK_NOTEBOOK(g_hub_notebook), GTK_POS_TOP);
    gtk_widget_set_vexpand(g_hub_notebook, TRUE);
    keep(g_hub_tab_label, gtk_label_new(tr("tab_spaces")));
    gtk_notebook_append_page(GTK_NOTEBOOK(g_hub_notebook), create_hub_servers_tab(),
                             g_hub_tab_label);

    GtkWidget* const page = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
    gtk_widget_set_hexpand(page, TRUE);
    gtk_widget_set_vexpand(page, TRUE);
    gtk_box_append(GTK_BOX(page), g_hub_notebook);
    return page;
}
