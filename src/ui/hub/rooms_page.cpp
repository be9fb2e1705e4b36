// The rooms page: the rooms of the selected space as a list, a new one, entering one. Called by the
// shell; the backend's loads redraw it.
#include "backend/endpoints.h"
#include "backend/spaces_api.h"
#include "base/text.h"
#include "ui/display_text.h"
#include "ui/editable_text.h"
#include "ui/hub/hub_internal.h"
#include "ui/hub/hub_rooms_internal.h"
#include "ui/localisation.h"
#include "ui/sanitisers.h"

#include <initializer_list>
#include <string>
#include <utility>

namespace {

constexpr int k_page_margin = 24;
constexpr int k_page_spacing = 12;
constexpr int k_entry_width_chars = 10;
constexpr int k_entry_max_width_chars = 56; // which makes the page as wide as reads well
constexpr int k_line_spacing = 8;
constexpr int k_text_spacing = 2;
constexpr int k_row_side_margin = 8;
constexpr int k_room_margin = 6;
constexpr int k_presence_indent = 28;
constexpr int k_presence_gap = 2;
constexpr std::size_t k_shortest_name = 2;

bool g_refreshing_room_list = false; // what is selected is not the user's choice

bool is_valid_room(std::int32_t index) {
    return index >= 0 && index < g_hub_room_count;
}

void show_room_message(const char* text, int type) {
    GUI_ShowMessage(tr("msg_title_room"), text, type);
}

void warn(const char* text_key) {
    show_room_message(tr(text_key), k_gui_message_warning);
}

GtkWidget* append_text(GtkWidget* box, const std::string& text,
                       std::initializer_list<const char*> classes) {
    GtkWidget* const label = gtk_label_new(text.c_str());
    gtk_label_set_xalign(GTK_LABEL(label), 0.0F);
    gtk_label_set_ellipsize(GTK_LABEL(label), PANGO_ELLIPSIZE_END);
    tell_cut_text(label);
    for (const char* css_class : classes) {
        gtk_widget_add_css_class(label, css_class);
    }
    gtk_box_append(GTK_BOX(box), label);
    return label;
}

GtkWidget* create_row_box(GtkOrientation orientation, int spacing, int start_margin, int gap) {
    GtkWidget* const box = gtk_box_new(orientation, spacing);
    gtk_widget_set_margin_start(box, start_margin);
    gtk_widget_set_margin_end(box, k_row_side_margin);
    gtk_widget_set_margin_top(box, gap);
    gtk_widget_set_margin_bottom(box, gap);
    return box;
}

void append_room_row(std::int32_t index) {
    const HubRoom& room = g_hub_rooms[index];
    GtkWidget* const box =
        create_row_box(GTK_ORIENTATION_VERTICAL, k_text_spacing, k_row_side_margin, k_room_margin);
    append_text(box, display_text(room.name), {"settings-option-title"});
    char line[192];
    format_text(line, "Usuarios: %d · %s", room.userCount, room.description);
    append_text(box, display_text(line), {"settings-option-desc"});

    GtkWidget* const row = gtk_list_box_row_new();
    gtk_widget_add_css_class(row, "hub-room-row");
    gtk_list_box_row_set_child(GTK_LIST_BOX_ROW(row), box);
    g_object_set_data(G_OBJECT(row), "room-index", GINT_TO_POINTER(index + 1));
    gtk_list_box_append(GTK_LIST_BOX(g_rooms_list), row);
}

void append_presence_row(const HubPresence& person) {
    GtkWidget* const box = create_row_box(GTK_ORIENTATION_HORIZONTAL, k_line_spacing,
                                          k_presence_indent, k_presence_gap);
    GtkWidget* const dot = gtk_label_new("●");
    gtk_widget_add_css_class(dot, "speaking-indicator");
    gtk_widget_add_css_class(dot, person.speaking ? "speaking" : "silent");
    gtk_box_append(GTK_BOX(box), dot);
    append_text(box, display_text(person.username), {"settings-option-desc"});

    GtkWidget* const row = gtk_list_box_row_new();
    gtk_list_box_row_set_child(GTK_LIST_BOX_ROW(row), box);
    gtk_list_box_row_set_selectable(GTK_LIST_BOX_ROW(row), FALSE);
    gtk_list_box_row_set_activatable(GTK_LIST_BOX_ROW(row), FALSE);
    gtk_list_box_append(GTK_LIST_BOX(g_rooms_list), row);
}

std::int32_t room_index_of(GtkListBoxRow* row) {
    return row != nullptr ? GPOINTER_TO_INT(g_object_get_data(G_OBJECT(row), "room-index")) - 1
                          : -1;
}

GtkListBoxRow* row_of_room(std::int32_t index) {
    GtkListBox* const list = GTK_LIST_BOX(g_rooms_list);
    int position = 0;
    while (GtkListBoxRow* const row = gtk_list_box_get_row_at_index(list, position)) {
        if (index >= 0 && room_index_of(row) == index) {
            return row;
        }
        ++position;
    }
    return nullptr;
}

bool list_has_keyboard() {
    GtkWidget* const focus =
        g_window != nullptr ? gtk_window_get_focus(GTK_WINDOW(g_window)) : nullptr;
    return focus != nullptr && gtk_widget_is_ancestor(focus, g_rooms_list) != FALSE;
}

void update_enter_button() {
    if (g_enter_room_btn != nullptr) {
        gtk_widget_set_sensitive(g_enter_room_btn,
                                 is_valid_room(g_selected_room_index) ? TRUE : FALSE);
    }
}

GtkWidget* create_button(GtkWidget*& slot, GtkWidget* box, const char* text_key,
                         const char* css_class, GCallback clicked) {
    keep(slot, gtk_button_new_with_label(tr(text_key)));
    gtk_widget_add_css_class(slot, css_class);
    g_signal_connect(slot, "clicked", clicked, nullptr);
    gtk_box_append(GTK_BOX(box), slot);
    return slot;
}

GtkWidget* create_rooms_list() {
    keep(g_rooms_list, gtk_list_box_new());
    gtk_widget_add_css_class(g_rooms_list, "peer-list");
    gtk_list_box_set_selection_mode(GTK_LIST_BOX(g_rooms_list), GTK_SELECTION_SINGLE);
    g_signal_connect(g_rooms_list, "row-selected", G_CALLBACK(on_room_row_selected), nullptr);
    gtk_accessible_update_relation(GTK_ACCESSIBLE(g_rooms_list),
                                   GTK_ACCESSIBLE_RELATION_LABELLED_BY, g_rooms_title_label,
                                   nullptr, -1);

    GtkWidget* const scrolled = gtk_scrolled_window_new();
    gtk_widget_set_vexpand(scrolled, TRUE);
    gtk_scrolled_window_set_policy(GTK_SCROLLED_WINDOW(scrolled), GTK_POLICY_NEVER,
                                   GTK_POLICY_AUTOMATIC);
    gtk_scrolled_window_set_child(GTK_SCROLLED_WINDOW(scrolled), g_rooms_list);
    return scrolled;
}

GtkWidget* create_new_room_line() {
    GtkWidget* const line = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, k_line_spacing);
    keep(g_room_name_entry, gtk_entry_new());
    gtk_entry_set_placeholder_text(GTK_ENTRY(g_room_name_entry), tr("rooms_new_placeholder"));
    gtk_editable_set_width_chars(GTK_EDITABLE(g_room_name_entry), k_entry_width_chars);
    gtk_editable_set_max_width_chars(GTK_EDITABLE(g_room_name_entry), k_entry_max_width_chars);
    gtk_widget_set_hexpand(g_room_name_entry, TRUE);
    g_signal_connect(g_room_name_entry, "activate", G_CALLBACK(on_create_room_clicked), nullptr);
    gtk_box_append(GTK_BOX(line), g_room_name_entry);
    create_button(g_create_room_btn, line, "rooms_create_btn", "btn-primary",
                  G_CALLBACK(on_create_room_clicked));
    return line;
}

GtkWidget* create_way_line() {
    GtkWidget* const line = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, k_line_spacing);
    create_button(g_back_to_servers_btn, line, "rooms_back_spaces_btn", "btn-primary",
                  G_CALLBACK(on_back_to_servers_clicked));
    GtkWidget* const enter = create_button(g_enter_room_btn, line, "rooms_enter_btn",
                                           "suggested-action", G_CALLBACK(on_enter_room_clicked));
    gtk_widget_set_hexpand(enter, TRUE);
    gtk_widget_set_halign(enter, GTK_ALIGN_END);
    gtk_widget_set_sensitive(enter, FALSE);
    return line;
}

} // namespace

GtkWidget* g_rooms_title_label = nullptr;
GtkWidget* g_rooms_subtitle_label = nullptr;
GtkWidget* g_rooms_list = nullptr;
GtkWidget* g_room_name_entry = nullptr;
GtkWidget* g_create_room_btn = nullptr;
GtkWidget* g_back_to_servers_btn = nullptr;
GtkWidget* g_enter_room_btn = nullptr;

GtkWidget* create_rooms_page() {
    GtkWidget* const section = gtk_box_new(GTK_ORIENTATION_VERTICAL, k_page_spacing);
    gtk_widget_add_css_class(section, "settings-section");
    gtk_widget_set_halign(section, GTK_ALIGN_CENTER);
    gtk_widget_set_vexpand(section, TRUE);
    keep(g_rooms_title_label, append_text(section, tr("rooms_title"), {"settings-title"}));
    keep(g_rooms_subtitle_label,
         append_text(section, tr("rooms_subtitle"), {"settings-description"}));
    gtk_box_append(GTK_BOX(section), create_rooms_list());
    gtk_box_append(GTK_BOX(section), create_new_room_line());
    gtk_box_append(GTK_BOX(section), create_way_line());
    Backend_SetRoomsLoadedCallback(refresh_room_list);

    GtkWidget* const page = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
    set_margins(section, k_page_margin);
    gtk_box_append(GTK_BOX(page), section);
    return page;
}

void refresh_room_list() {
    if (g_rooms_list == nullptr) {
        return;
    }
    count_hub_room_users();
    const bool was_refreshing = std::exchange(g_refreshing_room_list, true);
    const bool had_keyboard = list_has_keyboard();
    GtkListBox* const list = GTK_LIST_BOX(g_rooms_list);
    while (GtkListBoxRow* const row = gtk_list_box_get_row_at_index(list, 0)) {
        gtk_list_box_remove(list, GTK_WIDGET(row));
    }
    for (std::int32_t i = 0; i < g_hub_room_count; ++i) {
        append_room_row(i);
        if (!is_empty(g_hub_presence_room_id) &&
            std::string_view(g_hub_presence_room_id) == g_hub_rooms[i].id) {
            for (std::int32_t j = 0; j < g_hub_room_presence_count; ++j) {
                append_presence_row(g_hub_room_presence[j]);
            }
        }
    }
    gtk_list_box_select_row(list, row_of_room(g_selected_room_index)); // null: none
    if (had_keyboard) {
        focus_room_list();
    }
    g_refreshing_room_list = was_refreshing;
    update_enter_button();
}

void focus_room_list() {
    if (g_rooms_list == nullptr) {
        return;
    }
    GtkListBox* const list = GTK_LIST_BOX(g_rooms_list);
    GtkListBoxRow* const selected = gtk_list_box_get_selected_row(list);
    GtkListBoxRow* const row =
        selected != nullptr ? selected : gtk_list_box_get_row_at_index(list, 0);
    gtk_widget_grab_focus(row != nullptr ? GTK_WIDGET(row) : g_rooms_list);
}

void load_rooms_for_selected_server() {
    char error[256] = "";
    if (!backend_load_rooms(g_selected_space_id, error)) {
        if (const HubSpace* const space = selected_hub_space()) {
            take_cached_rooms(*space); // those in the table may be another space's
        }
        show_room_message(first_filled(error, tr("msg_room_load_failed")), k_gui_message_error);
        return;
    }
    refresh_room_list();
    cache_selected_space_rooms();
    refresh_hub_server_list();
}

void on_room_row_selected(GtkListBox*, GtkListBoxRow* row, gpointer) {
    if (g_refreshing_room_list) {
        return;
    }
    g_selected_room_index = room_index_of(row);
    update_enter_button();
}

void on_enter_room_clicked(GtkWidget*, gpointer) {
    if (!is_valid_room(g_selected_room_index)) {
        warn("msg_select_room");
        return;
    }
    connect_and_join_voice_room_by_index(g_selected_room_index, false);
}

void on_create_room_clicked(GtkWidget*, gpointer) {
    const HubSpace* const space = selected_hub_space();
    if (space == nullptr) {
        warn("msg_select_space_first");
        return;
    }
    if (!user_is_admin_of_space_index(g_selected_server_index)) {
        warn("msg_only_admin_action");
        return;
    }
    const std::string name = get_sanitized_editable_text(
        g_room_name_entry != nullptr ? GTK_EDITABLE(g_room_name_entry) : nullptr,
        sanitize_space_name);
    if (name.empty()) {
        warn("msg_enter_room_name");
        return;
    }
    if (name.size() < k_shortest_name) {
        warn("msg_space_name_invalid");
        return;
    }
    char error[256] = "";
    if (!backend_create_room(space->id, name.c_str(), error)) {
        show_room_message(first_filled(error, tr("msg_create_room_failed")), k_gui_message_error);
        return;
    }
    gtk_editable_set_text(GTK_EDITABLE(g_room_name_entry), "");
    cache_selected_space_rooms(); // the call has loaded them
    refresh_hub_server_list();
    show_room_message(tr("msg_create_room_success"), k_gui_message_information);
}

void on_connect_server_clicked(GtkWidget*, gpointer) {
    if (selected_hub_space() == nullptr) {
        GUI_ShowMessage(tr("msg_title_space"), tr("msg_select_space"), k_gui_message_warning);
        return;
    }
    sync_voice_server_from_backend_url(g_backend_url);
    if (g_hub_display_name_entry != nullptr) {
        set_display_name_from_raw_input(
            get_sanitized_editable_text(GTK_EDITABLE(g_hub_display_name_entry), sanitize_username));
    }
    if (!select_space_behind_popup(g_selected_server_index, tr("msg_loading_space"))) {
        return;
    }
    load_rooms_for_selected_server();
    hide_loading_popup();
    switch_to_rooms_page();
}
