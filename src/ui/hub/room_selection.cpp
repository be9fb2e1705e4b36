// What a click, a double click or a key on a row of the hub's list does. Called by GTK.
#include "base/text.h"
#include "chat/chat_connection.h"
#include "chat/hub_click_log.h"
#include "ui/hub/hub_chat_internal.h"
#include "ui/hub/hub_internal.h"
#include "ui/hub/hub_rooms_internal.h"
#include "ui/hub/space_users_internal.h"
#include "ui/localisation.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>

namespace {

constexpr std::int32_t k_double_click_ms = 350; // where the toolkit has none
constexpr std::int32_t k_double_click_min_ms = 180;
constexpr std::int32_t k_double_click_max_ms = 900;

// What a row carries, copied: the row may be gone once a request has returned.
struct ClickedRow {
    std::int32_t space_index; ///< -1 where the row names none
    std::int32_t room_index;  ///< -1 for a space's own row
    std::string room_id;      ///< empty for a space's own row
};

const char* stored_text(GtkListBoxRow* row, const char* key) {
    return or_empty(static_cast<const char*>(g_object_get_data(G_OBJECT(row), key)));
}

// GTK activates a row that it has selected before, even if that has taken it off the list: its
// space may have moved since, its room be gone.
ClickedRow read_row(GtkListBoxRow* row) {
    if (row == nullptr) {
        return {-1, -1, {}};
    }
    ClickedRow clicked{
        hub_space_index_of_id(stored_text(row, "space-id")), row_index(row, "room-index"), {}};
    if (clicked.room_index >= 0) {
        clicked.room_id = stored_text(row, "chat-scope-id");
    }
    return clicked;
}

void select_space(std::int32_t index) {
    g_selected_server_index = index;
    copy_text(g_selected_space_id, g_hub_servers[index].id);
}

bool is_selected(std::int32_t index) {
    char id[sizeof(g_selected_space_id)];
    copy_text(id, g_hub_servers[index].id);
    return g_selected_server_index == index && std::strcmp(g_selected_space_id, id) == 0;
}

void show_rooms_failure(const char* error) {
    GUI_ShowMessage(tr("msg_title_room"), first_filled(error, tr("msg_room_load_failed")),
                    k_gui_message_error);
}

// Opens the chat of the selected space on a channel of its own. What loads the chat asks for the
// space's join, too; a chat that is open already is not loaded.
void switch_chat(const HubSpace& space) {
    const bool was_open = is_shown_space_chat(space);
    chat_ws_restart_for_selected_space();
    show_hub_space_info_view_for_index(g_selected_server_index);
    if (was_open) {
        chat_ws_join_space_chat(g_selected_space_id);
    }
}

// Blocks for the chat and the rooms, behind a popup. False when the window was closed meanwhile.
bool switch_space(std::int32_t index, bool is_another) {
    if (is_another) {
        clear_hub_space_users();
        forget_newest_hub_chat_page(); // the popup's loop must not ask for it in this space's name
    } else {
        leave_watched_hub_stream();
    }
    if (!select_space_behind_popup(
            index, tr(is_another ? "msg_switching_space" : "msg_loading_space_data"))) {
        return false;
    }
    switch_chat(*selected_hub_space());
    char error[256] = "";
    const bool loaded = load_rooms_of_selected_space(error);
    hide_loading_popup();
    refresh_hub_server_list();
    reveal_hub_chat_column();
    if (!loaded) {
        forget_second_press();
        show_rooms_failure(error);
    }
    return true;
}

void cancel_pending_click() {
    if (const guint timer = std::exchange(g_room_single_click_timeout_id, 0U); timer != 0) {
        g_source_remove(timer);
    }
    g_pending_room_click_space_index = -1;
    g_pending_room_click_index = -1;
}

void forget_last_click() {
    g_last_room_click_space_index = -1;
    g_last_room_click_index = -1;
    g_last_room_click_time_us = 0;
}

// Silent when they cannot be had: whoever selected the space was told.
bool have_rooms_of_selected_space() {
    const HubSpace& space = *selected_hub_space();
    if (space.roomsCached) {
        take_cached_rooms(space);
        return true;
    }
    char error[256] = "";
    if (!load_rooms_of_selected_space(error)) {
        return false;
    }
    refresh_hub_server_list();
    return true;
}

void activate_clicked(const ClickedRow& clicked) {
    cancel_pending_click();
    if (hub_space_at(clicked.space_index) == nullptr) {
        return;
    }
    select_space(clicked.space_index);
    if (!chat_ws_connection_is_usable()) {
        chat_ws_restart_for_selected_space();
    }
    refresh_hub_chat_if_missed();
    if (have_rooms_of_selected_space()) {
        run_room_text_and_voice_join(g_selected_server_index, room_index_of_id(clicked.room_id));
        forget_last_click();
    }
}

ClickedRow g_second_press_row{-1, -1, {}};
std::string g_second_press_space_id;

// The row itself may be gone, or another room's.
void activate_row_of_second_press() {
    g_second_press_row.space_index = hub_space_index_of_id(g_second_press_space_id.c_str());
    activate_clicked(g_second_press_row);
}

void expect_second_press_on(const ClickedRow& clicked) {
    g_second_press_row = clicked;
    g_second_press_space_id = g_hub_servers[clicked.space_index].id;
    expect_second_press(activate_row_of_second_press);
}

} // namespace

std::int32_t g_last_room_click_space_index = -1;
std::int32_t g_last_room_click_index = -1;
std::int64_t g_last_room_click_time_us = 0;
std::int32_t g_pending_room_click_space_index = -1;
std::int32_t g_pending_room_click_index = -1;
guint g_room_single_click_timeout_id = 0;

bool select_space_behind_popup(std::int32_t index, const char* popup_text) {
    const std::string id = g_hub_servers[index].id;
    select_space(index);
    show_loading_popup(popup_text);
    const std::int32_t now_at = hub_space_index_of_id(id.c_str());
    if (g_window == nullptr || now_at < 0) {
        g_selected_server_index = -1;
        g_selected_space_id[0] = '\0';
        forget_second_press();
        hide_loading_popup();
        return false;
    }
    select_space(now_at);
    return true;
}

std::int32_t room_index_of_id(std::string_view id) {
    for (std::int32_t i = 0; !id.empty() && i < g_hub_room_count; ++i) {
        if (id == g_hub_rooms[i].id) {
            return i;
        }
    }
    return -1;
}

void on_server_row_selected(GtkListBox*, GtkListBoxRow* row, gpointer) {
    if (g_refreshing_hub_list || g_keyboard_is_passing) {
        return;
    }
    const ClickedRow clicked = read_row(row);
    if (clicked.space_index < 0) {
        append_hub_click_log(
            "[HUB][CLICK] row-selected NULL transient, preserving active space chat");
        return;
    }
    append_hub_click_log("[HUB][CLICK] row-selected space=%d room=%d", clicked.space_index,
                         clicked.room_index);
    const bool is_another = !is_selected(clicked.space_index);
    select_space(clicked.space_index);
    // A space that was entered otherwise, by a code or an invitation, has neither chat nor channel.
    const bool is_complete = g_hub_servers[clicked.space_index].roomsCached &&
                             !is_empty(g_hub_chat_scope_id) && chat_channel_serves_selected_space();
    bool is_there = true;
    if (is_another || !is_complete) {
        expect_second_press_on(clicked);
        is_there = switch_space(clicked.space_index, is_another);
    } else {
        if (clicked.room_index < 0) {
            leave_watched_hub_stream();
            show_hub_space_info_view_for_index(clicked.space_index);
        }
        refresh_hub_chat_if_missed();
    }
    if (is_there && clicked.room_index >= 0) {
        g_selected_room_index = room_index_of_id(clicked.room_id);
        append_hub_click_log("[HUB][CLICK] room-selected space=%d room=%d", g_selected_server_index,
                             g_selected_room_index);
    }
    take_list_cursor_off_removed_row(row);
}

gboolean on_server_list_key_pressed(GtkEventControllerKey*, guint key, guint, GdkModifierType,
                                    gpointer) {
    // It would enter a room, microphone and all, of whoever goes on writing after a click.
    return key == GDK_KEY_space || key == GDK_KEY_KP_Space ? GDK_EVENT_STOP : GDK_EVENT_PROPAGATE;
}

void on_server_row_activated(GtkListBox*, GtkListBoxRow* row, gpointer) {
    if (g_refreshing_hub_list) {
        return;
    }
    const ClickedRow clicked = read_row(row);
    if (row != nullptr) { // the popup takes the release of the button, which would end it
        gtk_widget_unset_state_flags(GTK_WIDGET(row), GTK_STATE_FLAG_ACTIVE);
    }
    activate_clicked(clicked);
}

gboolean on_room_single_click_timeout(gpointer) {
    g_room_single_click_timeout_id = 0;
    const std::int32_t space = std::exchange(g_pending_room_click_space_index, -1);
    const std::int32_t room = std::exchange(g_pending_room_click_index, -1);
    if (space >= 0 && room >= 0) {
        append_hub_click_log("[HUB][CLICK] single-commit space=%d room=%d", space, room);
        load_room_chat_by_indices(space, room);
    }
    return G_SOURCE_REMOVE;
}

std::int32_t get_natural_double_click_time_ms() {
    gint time = k_double_click_ms;
    if (GtkSettings* const settings = gtk_settings_get_default()) {
        g_object_get(settings, "gtk-double-click-time", &time, nullptr);
    }
    return std::clamp(std::int32_t{time}, k_double_click_min_ms, k_double_click_max_ms);
}
