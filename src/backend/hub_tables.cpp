// See backend/hub_tables.h.
#include "backend/hub_tables.h"

HubSpace g_hub_servers[k_max_hub_spaces];
std::int32_t g_hub_server_count = 0;
std::int32_t g_selected_server_index = -1;
char g_selected_space_id[64] = "";

HubRoom g_hub_rooms[k_max_hub_rooms];
std::int32_t g_hub_room_count = 0;
std::int32_t g_selected_room_index = -1;
char g_hub_rooms_space_id[128] = "";

HubSpaceUser g_hub_space_users[k_max_hub_space_users];
std::int32_t g_hub_space_user_count = 0;
char g_hub_space_users_space_id[128] = "";

char g_hub_chat_scope_type[16] = "";
char g_hub_chat_scope_id[64] = "";
