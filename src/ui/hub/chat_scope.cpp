// Which chat the hub shows: opening that of a space or of a room. Called by the spaces list. See
// ui/hub/hub_chat_internal.h.
#include "ui/hub/hub_chat_internal.h"

#include "backend/hub_tables.h"
#include "base/text.h"
#include "chat/chat_connection.h"
#include "chat/scope_chat.h"
#include "ui/hub/hub_internal.h"

#include <cstring>

namespace {

constexpr const char* k_general_name = "General";

/// From here on the column is that chat's: nothing of another one stands under its title.
void show_scope(const char* type, const char* id, const char* title) {
    copy_text(g_hub_chat_scope_type, type);
    copy_text(g_hub_chat_scope_id, id);
    g_hub_chat_pending_history_prepend = false;
    forget_newest_hub_chat_page();
    clear_hub_chat_pagination_state();
    set_hub_chat_title(title);
    clear_hub_chat_list();
    show_hub_room_chat_view();
    set_hub_chat_loading_indicator(true);
}

} // namespace

bool has_hub_chat_scope() {
    return !is_empty(g_hub_chat_scope_type) && !is_empty(g_hub_chat_scope_id);
}

bool chat_channel_serves_selected_space() {
    return std::strcmp(g_chat_ws_space_id, g_selected_space_id) == 0;
}

void need_hub_chat_channel() {
    const bool is_usable = chat_ws_connection_is_usable() && chat_channel_serves_selected_space();
    if (!is_usable && !is_empty(g_selected_space_id)) {
        chat_ws_restart_for_selected_space();
    }
}

bool load_space_chat_by_index(std::int32_t space_index) {
    const HubSpace* const space = hub_space_at(space_index);
    if (space == nullptr) {
        return false;
    }
    show_scope("space", space->id, space->name);
    need_hub_chat_channel();
    const bool is_requested = request_newest_hub_chat_page();
    if (!is_requested) {
        set_hub_chat_loading_indicator(false);
    }
    return is_requested;
}

bool load_room_chat_by_indices(std::int32_t space_index, std::int32_t room_index) {
    const HubSpace* const space = hub_space_at(space_index);
    if (space == nullptr || !space->roomsCached || room_index < 0 ||
        room_index >= space->cachedRoomCount) {
        return false;
    }
    const HubRoom& room = space->cachedRooms[room_index];
    show_scope("room", room.id, room.name);
    need_hub_chat_channel();
    if (request_newest_hub_chat_page()) {
        return true;
    }
    char error[256] = "";
    const bool is_loaded = backend_load_scope_chat("room", room.id, room.name, error);
    set_hub_chat_loading_indicator(false);
    return is_loaded;
}

const char* resolve_space_chat_room_id(std::int32_t space_index) {
    const HubSpace* const space = hub_space_at(space_index);
    if (space == nullptr || !space->roomsCacheValid || space->cachedRoomCount <= 0) {
        return "";
    }
    for (std::int32_t i = 0; i < space->cachedRoomCount; ++i) {
        if (g_ascii_strcasecmp(space->cachedRooms[i].name, k_general_name) == 0) {
            return space->cachedRooms[i].id;
        }
    }
    return space->cachedRooms[0].id;
}
