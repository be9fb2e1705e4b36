// The hub's tables as the backend delivered them: spaces, the rooms of the selected space, its
// members; with the selections in them. Filled by the spaces API, shown by the hub. Main thread.
#pragma once

#include <cstdint>

constexpr std::int32_t k_max_hub_spaces = 32;
constexpr std::int32_t k_max_hub_rooms = 32;
constexpr std::int32_t k_max_hub_space_users = 256;

struct HubRoom {
    char id[64];
    char name[64];
    char createdByUserId[64];
    std::int32_t userCount;
    char description[128];
};

// NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding): in the order of their meaning
struct HubSpace {
    char name[64];
    char id[128];
    char inviteCode[64];
    bool hasImage;
    char imageUrl[256];
    char description[256];
    char role[16]; ///< "owner", "member" or "invited"
    char adminUserId[64];
    char invitationStatus[16]; ///< "pending" while an invitation waits for its answer
    char invitationId[64];
    bool listed;
    std::int32_t unused_first; ///< -1; nothing reads them
    std::int32_t unused_second;
    bool roomsCached;
    bool roomsCacheValid;
    std::int32_t cachedRoomCount;
    HubRoom cachedRooms[k_max_hub_rooms];
};

struct HubSpaceUser {
    char id[64];
    char username[64];
    char displayName[64];
    char email[128];
};

extern HubSpace g_hub_servers[k_max_hub_spaces];
extern std::int32_t g_hub_server_count;
extern std::int32_t g_selected_server_index; ///< -1: none
extern char g_selected_space_id[64]; ///< what the chat channel and the rooms belong to; empty: none

extern HubRoom g_hub_rooms[k_max_hub_rooms];
extern std::int32_t g_hub_room_count;
extern std::int32_t g_selected_room_index; ///< -1: none
extern char g_hub_rooms_space_id[128];     ///< whose rooms these are; empty: nobody's

extern HubSpaceUser g_hub_space_users[k_max_hub_space_users];
extern std::int32_t g_hub_space_user_count;
extern char g_hub_space_users_space_id[128]; ///< whose members these are; empty: none loaded

/// The chat that the hub shows: "room", "space" or empty, and its identifier.
extern char g_hub_chat_scope_type[16];
extern char g_hub_chat_scope_id[64];
