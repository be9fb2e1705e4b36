// The rooms page: the rooms of the selected space as a list, a new one, entering one. Called by the
// shell; the backend's loads redraw it.
#include "backend/endpoints.h"
#include "backend/spaces_api.h"
#include "base/text.h"
#include "ui/display_text.h"
#include "ui/editable_text.h"
#include "ui/hub/hub_internal.h"
#include "ui/hub/hub_rooms_internal.h"
#include "ui/hub/room_rows_internal.h"
#include "ui/kept_rows.h"
#include "ui/localisation.h"
#include "ui/sanitisers.h"

#include <string>
#include <utility>

namespace {

constexpr int k_page_margin = 24;
constexpr int k_page_spacing = 12;
constexpr int k_entry_width_chars = 10;
constexpr int k_entry_max_width_chars = 56; // which makes the page as wide as reads well
constexpr int k_line_spacing = 8;
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

void update_enter_button() {
    if (g_enter_room_btn != nullptr) {
        gtk_widget_set_sensitive(g_enter_room_btn,
                                 is_valid_room(g_selected_room_index) ? TRUE : FALSE);
    }
}

GtkWidget* append_button(GtkWidget* box, const char* text_key, const char* css_class,
                         GCallback clicked) {
    GtkWidget* const button = create_text_button(tr(text_key), css_class, clicked);
    gtk_box_append(GTK_BOX(box), button);
    return button;
}

GtkWidget* create_rooms_list() {
    keep(g_rooms_list, gtk_list_box_new());
    gtk_widget_add_css_class(g_rooms_list, "peer-list");
    gtk_list_box_set_selection_mode(GTK_LIST_BOX(g_rooms_list), GTK_SELECTION_SINGLE);
    g_signal_connect(g_rooms_list, "row-selected", G_CALLBACK(on_room_row_selected), nullptr);
    set_labelled_by(g_rooms_list, g_rooms_title_label);

    GtkWidget* const scrolled = create_vertical_scroller(g_rooms_list);
    gtk_widget_set_vexpand(scrolled, TRUE);
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
    keep(g_create_room_btn, append_button(line, "rooms_create_btn", "btn-primary",
                                          G_CALLBACK(on_create_room_clicked)));
    return line;
}

GtkWidget* create_way_line() {
    GtkWidget* const line = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, k_line_spacing);
    keep(g_back_to_servers_btn, append_button(line, "rooms_back_spaces_btn", "btn-primary",
                                              G_CALLBACK(on_back_to_servers_clicked)));
    keep(g_enter_room_btn, append_button(line, "rooms_enter_btn", "suggested-action",
                                         G_CALLBACK(on_enter_room_clicked)));
    gtk_widget_set_hexpand(g_enter_room_btn, TRUE);
    gtk_widget_set_halign(g_enter_room_btn, GTK_ALIGN_END);
    gtk_widget_set_sensitive(g_enter_room_btn, FALSE);
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
    GtkWidget* const section =
        create_box(GTK_ORIENTATION_VERTICAL, k_page_spacing, "settings-section");
    gtk_widget_set_halign(section, GTK_ALIGN_CENTER);
    gtk_widget_set_vexpand(section, TRUE);
    keep(g_rooms_title_label, append_caption(section, tr("rooms_title"), {"settings-title"}));
    keep(g_rooms_subtitle_label,
         append_caption(section, tr("rooms_subtitle"), {"settings-description"}));
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
    show_rows(GTK_LIST_BOX(g_rooms_list), room_list_rows(), [](const RoomListRow& row) {
        return row.is_room() && row.room_index == g_selected_room_index;
    });
    g_refreshing_room_list = was_refreshing;
    update_enter_button();
}

void focus_room_list() {
    focus_list(g_rooms_list);
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
    g_selected_room_index = row_index(row, "room-index");
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
