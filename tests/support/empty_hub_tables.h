// Empties the hub's tables, as they are at the start of the program. For the tests that fill them.
#pragma once

#include "backend/hub_tables.h"
#include "base/text.h"

/// Nothing is listed, selected or shown; what the unlisted records hold stays.
inline void empty_hub_tables() {
    g_hub_server_count = 0;
    g_selected_server_index = -1;
    g_hub_room_count = 0;
    g_selected_room_index = -1;
    copy_text(g_hub_rooms_space_id, "");
    g_hub_space_user_count = 0;
    copy_text(g_hub_space_users_space_id, "");
    copy_text(g_hub_chat_scope_type, "");
    copy_text(g_hub_chat_scope_id, "");
}
