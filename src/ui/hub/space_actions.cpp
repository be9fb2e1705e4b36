// What can be done with a space: which buttons are of use, who may change its rooms, which of its
// rooms stays, showing its chat. Called by the hub's list, its handlers and its popups.
#include "backend/identity.h"
#include "backend/spaces_api.h"
#include "base/text.h"
#include "ui/hub/hub_chat_internal.h"
#include "ui/hub/hub_internal.h"
#include "ui/hub/hub_rooms_internal.h"
#include "ui/localisation.h"

#include <algorithm>
#include <cstring>
#include <span>

namespace {

// One that can be answered.
bool is_open_invitation(const HubSpace& space) {
    return is_pending_invitation(space) && !is_empty(space.invitationId);
}

void set_sensitive(GtkWidget* button, bool sensitive) {
    if (button != nullptr) {
        gtk_widget_set_sensitive(button, sensitive ? TRUE : FALSE);
    }
}

std::span<const HubSpace> spaces() {
    return {g_hub_servers, static_cast<std::size_t>(g_hub_server_count)};
}

void show_unavailable_chat(const HubSpace& space) {
    clear_hub_chat_pagination_state();
    set_hub_chat_title(space.name);
    show_hub_room_chat_view();
    // Spanish in both languages.
    show_hub_chat_notice("No se pudo cargar el chat del espacio");
}

} // namespace

HubSpace* selected_hub_space() {
    return hub_space_at(g_selected_server_index);
}

HubSpace* hub_space_at(std::int32_t index) {
    return index >= 0 && index < g_hub_server_count ? &g_hub_servers[index] : nullptr;
}

std::int32_t hub_space_index_of_id(const char* id) {
    const auto known = std::ranges::find_if(
        spaces(), [id](const HubSpace& space) { return std::strcmp(space.id, id) == 0; });
    return known != spaces().end() ? static_cast<std::int32_t>(&*known - g_hub_servers) : -1;
}

bool is_pending_invitation(const HubSpace& space) {
    return std::strcmp(space.role, "invited") == 0 &&
           std::strcmp(space.invitationStatus, "pending") == 0;
}

void update_hub_space_actions() {
    const HubSpace* const space = selected_hub_space();
    const bool invitation = space != nullptr && is_open_invitation(*space);
    const bool usable = space != nullptr && !invitation;
    set_sensitive(g_connect_server_btn, usable);
    set_sensitive(g_invite_user_btn, space != nullptr);
    set_sensitive(g_accept_invite_btn, invitation);
    set_sensitive(g_decline_invite_btn, invitation);
    set_sensitive(g_hub_invite_space_code_btn, usable && !is_empty(space->inviteCode));
    update_hub_pending_invites_button();
}

void update_hub_pending_invites_button() {
    if (g_hub_pending_invites_btn == nullptr) {
        return;
    }
    const auto pending = static_cast<int>(std::ranges::count_if(spaces(), is_open_invitation));
    const char* const what = tr("hub_pending_invites_tooltip");
    if (pending > 0) {
        char text[128];
        format_text(text, "%s (%d)", what, pending);
        set_tooltip_and_name(g_hub_pending_invites_btn, text);
        gtk_widget_add_css_class(g_hub_pending_invites_btn, "suggested-action");
    } else {
        set_tooltip_and_name(g_hub_pending_invites_btn, what);
        gtk_widget_remove_css_class(g_hub_pending_invites_btn, "suggested-action");
    }
    set_sensitive(g_hub_pending_invites_btn, pending > 0);
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

bool is_shown_space_chat(const HubSpace& space) {
    char id[sizeof(g_hub_chat_scope_id)]; // shorter than a space's own
    copy_text(id, space.id);
    return std::strcmp(g_hub_chat_scope_type, "space") == 0 &&
           std::strcmp(g_hub_chat_scope_id, id) == 0;
}

void show_hub_space_info_view_for_index(std::int32_t space_index) {
    const HubSpace* const space = hub_space_at(space_index);
    if (space == nullptr) {
        show_no_hub_chat();
        show_hub_room_chat_view();
    } else if (is_shown_space_chat(*space)) {
        show_hub_room_chat_view();
        refresh_hub_chat_if_missed();
    } else if (!load_space_chat_by_index(space_index)) {
        show_unavailable_chat(*space);
    }
}
