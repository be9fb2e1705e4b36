// The hub page and the columns of its Spaces tab. Called by the shell.
#include "ui/hub/hub_internal.h"

#include "backend/spaces_api.h"
#include "ui/hub/hub_chat_internal.h"
#include "ui/hub/hub_rooms_internal.h"
#include "ui/hub/popups/popups_internal.h"
#include "ui/hub/space_images_internal.h"
#include "ui/hub/space_users_internal.h"
#include "ui/localisation.h"
#include "ui/settings/settings_internal.h"

#include <algorithm>

namespace {

constexpr int k_column_gap = 12;
constexpr int k_tab_margin = 12;
constexpr int k_user_column_width = 280;
constexpr int k_spaces_column_width = 360;
constexpr int k_users_column_width = 280;
// Before the layout of the next frame, whatever else waits.
constexpr int k_fit_priority = G_PRIORITY_HIGH;
constexpr int k_header_spacing = 6;
constexpr int k_user_box_spacing = 6;
constexpr int k_user_box_gap = 8;
constexpr int k_display_name_max = 32;

GtkWidget* g_columns_scroll = nullptr;
guint g_fit_source = 0;
int g_chat_min_width = 0; // that the chat's column asks for by itself
int g_fitted_width = 0;   // of what is seen of the columns, when the chat was last brought into it

GtkWidget* create_column(int width) {
    GtkWidget* const column =
        create_box(GTK_ORIENTATION_VERTICAL, k_column_gap, "settings-section");
    gtk_widget_add_css_class(column, "hub-column");
    gtk_widget_set_size_request(column, width, -1);
    gtk_widget_set_hexpand(column, FALSE); // whatever in it does
    return column;
}

// Of whatever length the text is, the column keeps its width.
void let_shrink(GtkWidget* label) {
    gtk_label_set_max_width_chars(GTK_LABEL(label), 1);
}

void let_wrap(GtkWidget* label) {
    gtk_label_set_single_line_mode(GTK_LABEL(label), FALSE);
    gtk_label_set_ellipsize(GTK_LABEL(label), PANGO_ELLIPSIZE_NONE);
    gtk_label_set_wrap(GTK_LABEL(label), TRUE);
}

// It takes the place of the name while that is edited.
GtkWidget* create_name_entry() {
    GtkWidget* const entry = gtk_entry_new();
    gtk_entry_set_max_length(GTK_ENTRY(entry), k_display_name_max);
    gtk_editable_set_width_chars(GTK_EDITABLE(entry), 1);
    gtk_editable_set_max_width_chars(GTK_EDITABLE(entry), 1);
    gtk_widget_set_hexpand(entry, TRUE);
    gtk_widget_set_visible(entry, FALSE);
    g_signal_connect(entry, "activate", G_CALLBACK(on_hub_user_name_entry_activate), nullptr);
    GtkEventController* const focus = gtk_event_controller_focus_new();
    g_signal_connect(focus, "leave", G_CALLBACK(on_hub_user_name_entry_focus_leave), nullptr);
    gtk_widget_add_controller(entry, focus);
    return entry;
}

GtkWidget* create_user_box() {
    GtkWidget* const box = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, k_user_box_spacing);
    gtk_widget_set_margin_top(box, k_user_box_gap);
    keep(g_hub_user_name_label, append_caption(box, "-", {"hub-user-name"}));
    let_shrink(g_hub_user_name_label);
    gtk_widget_set_hexpand(g_hub_user_name_label, TRUE);

    keep(g_hub_user_name_entry, create_name_entry());
    gtk_box_append(GTK_BOX(box), g_hub_user_name_entry);

    keep(g_hub_user_edit_btn,
         create_icon_button("document-edit-symbolic", "flat", tr("hub_user_edit_name")));
    // Else a click on it would finish the edit by taking the keyboard, and begin it anew.
    gtk_widget_set_focus_on_click(g_hub_user_edit_btn, FALSE);
    g_signal_connect(g_hub_user_edit_btn, "clicked", G_CALLBACK(on_hub_user_edit_clicked), nullptr);
    gtk_box_append(GTK_BOX(box), g_hub_user_edit_btn);

    keep(g_hub_pending_invites_btn,
         create_icon_button("preferences-system-notifications-symbolic", "btn-primary",
                            tr("hub_pending_invites_tooltip")));
    gtk_widget_set_sensitive(g_hub_pending_invites_btn, FALSE);
    g_signal_connect(g_hub_pending_invites_btn, "clicked",
                     G_CALLBACK(on_hub_pending_invites_clicked), nullptr);
    gtk_box_append(GTK_BOX(box), g_hub_pending_invites_btn);
    return box;
}

GtkWidget* create_user_column() {
    GtkWidget* const column = create_column(k_user_column_width);
    keep(g_hub_title_label, append_caption(column, tr("hub_title"), {"settings-title"}));
    keep(g_hub_subtitle_label,
         append_caption(column, tr("hub_subtitle"), {"settings-description"}));
    let_wrap(g_hub_subtitle_label);
    let_shrink(g_hub_subtitle_label);
    g_hub_user_name_editing = false;
    gtk_box_append(GTK_BOX(column), create_user_box());
    keep(g_hub_user_email_label, append_caption(column, "-", {"hub-user-email"}));
    let_shrink(g_hub_user_email_label);
    return column;
}

GtkWidget* create_spaces_header() {
    GtkWidget* const header = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, k_header_spacing);
    keep(g_hub_spaces_title_label,
         append_caption(header, tr("hub_spaces_available"), {"settings-option-title"}));
    gtk_widget_set_hexpand(g_hub_spaces_title_label, TRUE);

    keep(g_hub_add_space_action_btn, gtk_button_new_with_label("+"));
    gtk_widget_add_css_class(g_hub_add_space_action_btn, "btn-primary");
    gtk_widget_add_css_class(g_hub_add_space_action_btn, "hub-add-space");
    set_tooltip_and_name(g_hub_add_space_action_btn, tr("hub_create_or_join_btn"));
    g_signal_connect(g_hub_add_space_action_btn, "clicked", G_CALLBACK(on_hub_plus_clicked),
                     nullptr);
    gtk_box_append(GTK_BOX(header), g_hub_add_space_action_btn);

    keep(g_hub_invite_space_code_btn,
         create_icon_button("mail-send-symbolic", "btn-primary", tr("hub_invite_space_code_btn")));
    gtk_widget_set_sensitive(g_hub_invite_space_code_btn, FALSE);
    g_signal_connect(g_hub_invite_space_code_btn, "clicked",
                     G_CALLBACK(on_hub_invite_space_code_clicked), nullptr);
    gtk_box_append(GTK_BOX(header), g_hub_invite_space_code_btn);
    return header;
}

// As high as its rows, as long as the column has the room: the box below stands right under it.
GtkWidget* create_spaces_scroller() {
    keep(g_servers_list, gtk_list_box_new());
    gtk_widget_add_css_class(g_servers_list, "peer-list");
    GtkListBox* const list = GTK_LIST_BOX(g_servers_list);
    gtk_list_box_set_selection_mode(list, GTK_SELECTION_SINGLE);
    gtk_list_box_set_activate_on_single_click(list, FALSE);
    g_signal_connect(list, "row-selected", G_CALLBACK(on_server_row_selected), nullptr);
    g_signal_connect(list, "row-activated", G_CALLBACK(on_server_row_activated), nullptr);
    GtkEventController* const keys = gtk_event_controller_key_new();
    gtk_event_controller_set_propagation_phase(keys, GTK_PHASE_CAPTURE);
    g_signal_connect(keys, "key-pressed", G_CALLBACK(on_server_list_key_pressed), nullptr);
    gtk_widget_add_controller(g_servers_list, keys);
    watch_hub_context_menu();
    set_labelled_by(g_servers_list, g_hub_spaces_title_label);

    GtkWidget* const scrolled = gtk_scrolled_window_new();
    gtk_widget_add_css_class(scrolled, "hub-spaces-scroller");
    // Without a bar, but no wider than the column, however long the names are.
    gtk_scrolled_window_set_policy(GTK_SCROLLED_WINDOW(scrolled), GTK_POLICY_EXTERNAL,
                                   GTK_POLICY_AUTOMATIC);
    gtk_scrolled_window_set_propagate_natural_height(GTK_SCROLLED_WINDOW(scrolled), TRUE);
    gtk_scrolled_window_set_child(GTK_SCROLLED_WINDOW(scrolled), g_servers_list);
    return scrolled;
}

GtkWidget* create_empty_box() {
    GtkWidget* const box = create_box(GTK_ORIENTATION_VERTICAL, 0, "settings-section");
    keep(g_empty_spaces_label,
         append_caption(box, tr("hub_empty_spaces"), {"settings-description"}));
    let_wrap(g_empty_spaces_label);
    return box;
}

GtkWidget* create_spaces_column() {
    GtkWidget* const column = create_column(k_spaces_column_width);
    gtk_box_append(GTK_BOX(column), create_spaces_header());
    gtk_box_append(GTK_BOX(column), create_spaces_scroller());
    keep(g_empty_spaces_box, create_empty_box());
    gtk_box_append(GTK_BOX(column), g_empty_spaces_box);
    return column;
}

GtkWidget* create_users_column() {
    GtkWidget* const column = create_column(k_users_column_width);
    append_space_users(column);
    return column;
}

GtkWidget* user_column() {
    return gtk_widget_get_parent(g_hub_title_label);
}

int seen_width() {
    GtkAdjustment* const position =
        gtk_scrolled_window_get_hadjustment(GTK_SCROLLED_WINDOW(g_columns_scroll));
    return static_cast<int>(gtk_adjustment_get_page_size(position));
}

// Where not all columns find room, the list and the chat fill what is seen, with the members where
// those find room: each of the other columns is then wholly out of sight.
int least_chat_width(int seen) {
    constexpr int k_beside_chat = 2 * k_tab_margin + k_column_gap + k_spaces_column_width;
    constexpr int k_with_users = k_beside_chat + k_column_gap + k_users_column_width;
    if (seen >= k_user_column_width + k_column_gap + k_with_users + g_chat_min_width) {
        return g_chat_min_width;
    }
    const int beside_users = seen - k_with_users;
    return beside_users >= g_chat_min_width ? beside_users
                                            : std::max(g_chat_min_width, seen - k_beside_chat);
}

gboolean fit_columns(gpointer) {
    g_fit_source = 0;
    if (g_columns_scroll == nullptr || g_hub_content_stack == nullptr) {
        return G_SOURCE_REMOVE;
    }
    GtkWidget* const chat = gtk_widget_get_parent(g_hub_content_stack);
    const int seen = seen_width();
    const int wanted = least_chat_width(seen);
    int now = 0;
    gtk_widget_get_size_request(chat, &now, nullptr);
    if (now != wanted) {
        gtk_widget_set_size_request(chat, wanted, -1); // the layout that follows comes back here
        g_fitted_width = 0;
    } else if (seen != g_fitted_width) {
        g_fitted_width = seen;
        // Who is typing a name sees what is typed, whatever becomes of the window.
        if (selected_hub_space() != nullptr && !has_keyboard_within(user_column())) {
            reveal_hub_chat_column();
        }
    }
    return G_SOURCE_REMOVE;
}

// Within a layout nothing can be laid out anew.
void fit_columns_soon(GObject*, GParamSpec*, gpointer) {
    if (g_fit_source == 0) {
        g_fit_source = g_idle_add_full(k_fit_priority, fit_columns, nullptr, nullptr);
    }
}

void watch_seen_width() {
    g_fitted_width = 0;
    GtkAdjustment* const position =
        gtk_scrolled_window_get_hadjustment(GTK_SCROLLED_WINDOW(g_columns_scroll));
    for (const char* signal : {"notify::page-size", "notify::upper"}) {
        g_signal_connect(position, signal, G_CALLBACK(fit_columns_soon), nullptr);
    }
}

// None of them is selected any more, so none of the chats is shown.
void on_spaces_loaded() {
    renew_space_pictures();
    refresh_hub_server_list();
    show_no_hub_chat();
    clear_hub_space_users();
}

} // namespace

GtkWidget* create_hub_servers_tab() {
    GtkWidget* const columns = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, k_column_gap);
    set_margins(columns, k_tab_margin);
    gtk_box_append(GTK_BOX(columns), create_user_column());
    gtk_box_append(GTK_BOX(columns), create_spaces_column());
    GtkWidget* const chat = create_hub_chat_column();
    gtk_widget_add_css_class(chat, "hub-column");
    gtk_widget_get_size_request(chat, &g_chat_min_width, nullptr);
    gtk_box_append(GTK_BOX(columns), chat);
    gtk_box_append(GTK_BOX(columns), create_users_column());
    show_no_hub_chat();
    update_hub_empty_state();
    Backend_SetSpacesLoadedCallback(on_spaces_loaded);

    keep(g_columns_scroll, gtk_scrolled_window_new());
    gtk_scrolled_window_set_child(GTK_SCROLLED_WINDOW(g_columns_scroll), columns);
    watch_seen_width();
    return g_columns_scroll;
}

GtkWidget* create_hub_page() {
    keep(g_hub_notebook, gtk_notebook_new());
    gtk_notebook_set_tab_pos(GTK_NOTEBOOK(g_hub_notebook), GTK_POS_TOP);
    gtk_widget_set_vexpand(g_hub_notebook, TRUE);
    keep(g_hub_tab_label, gtk_label_new(tr("tab_spaces")));
    gtk_notebook_append_page(GTK_NOTEBOOK(g_hub_notebook), create_hub_servers_tab(),
                             g_hub_tab_label);
    keep(g_hub_settings_tab_label, gtk_label_new(tr("tab_settings")));
    gtk_notebook_append_page(GTK_NOTEBOOK(g_hub_notebook), create_settings_tab(),
                             g_hub_settings_tab_label);

    GtkWidget* const page = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
    gtk_widget_set_hexpand(page, TRUE);
    gtk_widget_set_vexpand(page, TRUE);
    gtk_box_append(GTK_BOX(page), g_hub_notebook);
    return page;
}

void reveal_hub_chat_column() {
    if (g_columns_scroll == nullptr || g_hub_content_stack == nullptr) {
        return;
    }
    GtkWidget* const chat = gtk_widget_get_parent(g_hub_content_stack);
    GtkWidget* const columns = gtk_widget_get_parent(chat);
    const auto place_of = [columns](GtkWidget* column) {
        graphene_rect_t place;
        if (gtk_widget_compute_bounds(column, columns, &place) == FALSE) {
            place = GRAPHENE_RECT_INIT_ZERO;
        }
        return place;
    };
    const auto end_of = [&place_of](GtkWidget* column) {
        const graphene_rect_t place = place_of(column);
        return double{place.origin.x + place.size.width} + 2.0 * k_tab_margin;
    };
    GtkAdjustment* const position =
        gtk_scrolled_window_get_hadjustment(GTK_SCROLLED_WINDOW(g_columns_scroll));
    const double seen = gtk_adjustment_get_page_size(position);
    const double start = double{place_of(gtk_widget_get_prev_sibling(chat)).origin.x};
    // With the margins around them. Where there is no room for both, the list stays.
    const double users_end = end_of(gtk_widget_get_next_sibling(chat));
    const double end = users_end - start <= seen ? users_end : end_of(chat);
    const double least = end - seen;
    const double before = gtk_adjustment_get_value(position);
    // Set, because that ends the scrolling that giving the keyboard to a row has begun.
    gtk_adjustment_set_value(position, std::min(std::max(before, least), start));
}
