// Who is in the voice room, as the hub shows it. Called by the room view after every change of the
// participants, by the voice join and by the facade.
#include "backend/hub_tables.h"
#include "backend/identity.h"
#include "backend/spaces_api.h"
#include "base/clock.h"
#include "base/text.h"
#include "chat/hub_click_log.h"
#include "core/peer.h"
#include "ui/hub/hub_internal.h"
#include "ui/hub/hub_rooms_internal.h"
#include "ui/hub/space_users_internal.h"
#include "ui/room/room_internal.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <span>
#include <vector>

namespace {

constexpr std::uint32_t k_refused_again_ms = 20000;

/// The latest answer, where the members were refused, or none came.
struct RefusedMembers {
    char space_id[sizeof(g_selected_space_id)];
    std::uint32_t answered_ms;
};

std::vector<Peer> g_last_peers;
std::optional<RefusedMembers> g_refused_members;

void add_person(const char* username, bool speaking) {
    if (is_empty(username) || g_hub_room_presence_count >= k_hub_presence_max) {
        return;
    }
    HubPresence& person = g_hub_room_presence[g_hub_room_presence_count];
    copy_text(person.username, username);
    person.speaking = speaking;
    ++g_hub_room_presence_count;
}

// Everybody's beginning and ending to speak leads here: a backend that refuses, or that blocks
// until the request is given up, is not asked again each time.
bool were_members_refused() {
    return g_refused_members.has_value() &&
           std::strcmp(g_refused_members->space_id, g_selected_space_id) == 0 &&
           clock_ticks_ms() - g_refused_members->answered_ms <= k_refused_again_ms;
}

bool load_members() {
    char error[256] = "";
    if (backend_load_space_members(g_selected_space_id, error)) {
        return true;
    }
    append_hub_click_log("[HUB][SPACE][USERS] members-load-fail spaceId=%s error=%s",
                         g_selected_space_id, first_filled(error, "unknown"));
    return false;
}

} // namespace

bool g_is_connected = false;
char g_hub_presence_room_id[64] = "";
HubPresence g_hub_room_presence[k_hub_presence_max];
std::int32_t g_hub_room_presence_count = 0;

void begin_hub_room_presence(const char* room_id) {
    copy_text(g_hub_presence_room_id, room_id);
    g_hub_room_presence_count = 0;
    g_last_peers.clear();
    g_refused_members.reset(); // another stay in a room begins
}

void count_hub_room_users() {
    for (std::int32_t i = 0; i < g_hub_room_count; ++i) {
        const bool is_known = !is_empty(g_hub_presence_room_id) &&
                              std::strcmp(g_hub_rooms[i].id, g_hub_presence_room_id) == 0;
        g_hub_rooms[i].userCount = is_known ? g_hub_room_presence_count : 0;
    }
}

void show_hub_room_presence() {
    refresh_hub_server_list();
    if (g_rooms_list != nullptr && gtk_widget_get_mapped(g_rooms_list) != FALSE) {
        refresh_room_list();
    }
}

void sync_hub_room_presence_from_peers(const Peer* peers, std::int32_t count) {
    g_hub_room_presence_count = 0;
    if (is_empty(g_hub_presence_room_id)) {
        g_last_peers.clear();
        return;
    }
    const std::span<const Peer> all(peers, static_cast<std::size_t>(std::max(count, 0)));
    g_last_peers = std::vector<Peer>(all.begin(), all.end());
    add_person(first_filled(g_display_name, g_username), g_is_speaking);
    for (const Peer& peer : g_last_peers) {
        add_person(peer.username, peer.speaking != 0);
    }
    if (!g_joining_room_transition) {
        show_hub_room_presence();
    }
    sync_hub_space_users_from_room_presence();
}

void resync_hub_room_presence() {
    const std::vector<Peer> peers = g_last_peers;
    sync_hub_room_presence_from_peers(peers.data(), static_cast<std::int32_t>(peers.size()));
}

void sync_hub_space_users_from_room_presence() {
    // With the window gone nobody is left to see them.
    if (is_empty(g_selected_space_id) || g_window == nullptr ||
        load_space_users_from_cache_if_fresh(g_selected_space_id) || were_members_refused()) {
        return;
    }
    g_refused_members.reset();
    if (!load_members()) {
        RefusedMembers& refused = g_refused_members.emplace();
        copy_text(refused.space_id, g_selected_space_id);
        refused.answered_ms = clock_ticks_ms();
    }
}

void clear_hub_room_presence() {
    copy_text(g_hub_presence_room_id, "");
    g_hub_room_presence_count = 0;
    g_last_peers.clear();
    show_hub_room_presence();
    sync_hub_space_users_from_room_presence();
}

void leave_lost_voice_room() {
    g_is_connected = false;
    GUI_UpdateAudioLevel(0.0F);
    clear_hub_room_presence();
}
