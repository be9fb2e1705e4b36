// The tables of spaces and rooms as the hub reads them: which space is where, whose it is, the
// rooms that are kept with it. Called by the other files of the hub. See ui/hub/hub_internal.h.
#include "backend/hub_tables.h"
#include "backend/identity.h"
#include "backend/spaces_api.h"
#include "base/text.h"
#include "ui/hub/hub_internal.h"
#include "ui/hub/hub_rooms_internal.h"
#include "ui/localisation.h"

#include <algorithm>
#include <cstring>

std::span<const HubSpace> hub_spaces() {
    return {g_hub_servers, static_cast<std::size_t>(g_hub_server_count)};
}

HubSpace* selected_hub_space() {
    return hub_space_at(g_selected_server_index);
}

HubSpace* hub_space_at(std::int32_t index) {
    return index >= 0 && index < g_hub_server_count ? &g_hub_servers[index] : nullptr;
}

std::int32_t hub_space_index_of_id(const char* id) {
    const auto known = std::ranges::find_if(
        hub_spaces(), [id](const HubSpace& space) { return std::strcmp(space.id, id) == 0; });
    return known != hub_spaces().end() ? static_cast<std::int32_t>(&*known - g_hub_servers) : -1;
}

bool is_pending_invitation(const HubSpace& space) {
    return std::strcmp(space.role, "invited") == 0 &&
           std::strcmp(space.invitationStatus, "pending") == 0;
}

bool is_open_invitation(const HubSpace& space) {
    return is_pending_invitation(space) && !is_empty(space.invitationId);
}

bool user_is_admin_of_space_index(std::int32_t space_index) {
    const HubSpace* const space = hub_space_at(space_index);
    if (space == nullptr) {
        return false;
    }
    return std::strcmp(space->role, "owner") == 0 ||
           (!is_empty(g_user_id) && std::strcmp(space->adminUserId, g_user_id) == 0);
}

bool is_general_room_index(std::int32_t room_index) {
    if (room_index < 0 || room_index >= g_hub_room_count) {
        return false;
    }
    const char* const name = g_hub_rooms[room_index].name;
    const bool named_so =
        !is_empty(name) && (g_ascii_strcasecmp(name, tr("channel_general")) == 0 ||
                            g_ascii_strcasecmp(name, "general") == 0);
    // The first room stands for it, whatever its name.
    return named_so || room_index == 0;
}

bool add_hub_server(const char* id) {
    if (is_empty(id) || g_hub_server_count >= k_max_hub_spaces) {
        return false;
    }
    char kept_id[sizeof(HubSpace::id)]; // a longer one is cut, and known by what is kept of it
    copy_text(kept_id, id);
    const std::int32_t known = hub_space_index_of_id(kept_id);
    if (known >= 0) {
        g_selected_server_index = known;
    } else {
        g_selected_server_index = g_hub_server_count;
        HubSpace& space = g_hub_servers[g_hub_server_count];
        ++g_hub_server_count;
        space = {};
        format_text(space.name, "Servidor %d", g_hub_server_count);
        copy_text(space.id, kept_id);
        copy_text(space.role, "owner");
        copy_text(space.adminUserId, g_user_id);
    }
    refresh_hub_server_list();
    return true;
}

void cache_selected_space_rooms() {
    HubSpace* const space = selected_hub_space();
    // Of a long id the selected space's, by which they may have been loaded, is the beginning.
    constexpr std::size_t k_known = sizeof(g_selected_space_id) - 1;
    if (space == nullptr || std::strncmp(space->id, g_hub_rooms_space_id, k_known) != 0) {
        return;
    }
    space->cachedRoomCount = std::clamp(g_hub_room_count, 0, k_max_hub_rooms);
    std::copy_n(g_hub_rooms, space->cachedRoomCount, space->cachedRooms);
    space->roomsCached = true;
    space->roomsCacheValid = true;
}

void take_cached_rooms(const HubSpace& space) {
    copy_text(g_hub_rooms_space_id, space.id);
    g_hub_room_count = space.roomsCached ? space.cachedRoomCount : 0;
    std::copy_n(space.cachedRooms, g_hub_room_count, g_hub_rooms);
    g_selected_room_index = -1;
    refresh_room_list();
}

bool load_rooms_of_selected_space(std::span<char> error) {
    const HubSpace* const space = selected_hub_space();
    if (space == nullptr) {
        return false;
    }
    if (!backend_load_rooms(space->id, error)) {
        take_cached_rooms(*space);
        return false;
    }
    cache_selected_space_rooms();
    return true;
}
