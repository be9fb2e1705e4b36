// See backend/spaces_tables_internal.h. Holds the callbacks of backend/spaces_api.h too: whatever
// rebuilds a table tells of it.
#include "backend/spaces_tables_internal.h"

#include "backend/hub_tables.h"
#include "backend/identity.h"
#include "backend/json_scan.h"
#include "backend/spaces_api.h"
#include "base/text.h"

#include <cstring>
#include <span>
#include <string_view>

namespace {

TableLoadedCallback g_onSpacesLoaded = nullptr;
TableLoadedCallback g_onRoomsLoaded = nullptr;
TableLoadedCallback g_onMembersLoaded = nullptr;

void notify(TableLoadedCallback callback) {
    if (callback != nullptr) {
        callback();
    }
}

/// A part of an answer that describes one space, room or member.
struct Element {
    const char* start;
    const char* end; ///< exclusive

    /// Fills `out` with the value of `key`, or else of `other_key`; empties it without either.
    bool read(std::span<char> out, const char* key, const char* other_key = nullptr) const {
        return extract_json_string_field_in_range(start, end, key, out) ||
               (other_key != nullptr &&
                extract_json_string_field_in_range(start, end, other_key, out));
    }
};

template <typename Record>
bool holds_id(std::span<const Record> records, std::string_view id) {
    for (const Record& record : records) {
        if (record.id == id) {
            return true;
        }
    }
    return false;
}

/// Fills `table` with the elements of the answer's list that `fill` accepts; the first of those
/// with one identifier counts.
template <typename Record>
void rebuild_table(const char* answer, std::span<Record> table, std::int32_t& count,
                   bool (*fill)(const Element& element, Record& record)) {
    count = 0;
    const char* cursor = nullptr;
    const char* first = nullptr;
    const char* last = nullptr;
    while (static_cast<std::size_t>(count) < table.size() &&
           find_next_top_level_json_object(answer, &cursor, &first, &last)) {
        Record& record = table[static_cast<std::size_t>(count)];
        record = {};
        const std::span<const Record> held = table.first(static_cast<std::size_t>(count));
        if (fill({first, last + 1}, record) && !holds_id(held, record.id)) {
            ++count;
        }
    }
}

bool fill_space(const Element& element, HubSpace& space) {
    if (!element.read(space.id, "id", "_id") || !element.read(space.name, "name", "spaceName")) {
        return false;
    }
    element.read(space.inviteCode, "inviteCode");
    extract_json_bool_field_in_range(element.start, element.end, "hasImage", &space.hasImage);
    element.read(space.imageUrl, "imageUrl");
    element.read(space.description, "description");
    element.read(space.adminUserId, "adminUserId", "ownerUserId");
    element.read(space.invitationStatus, "invitationStatus");
    element.read(space.invitationId, "invitationId");
    if (!element.read(space.role, "knownBy")) {
        copy_text(space.role, "member");
    }
    if (!is_empty(space.adminUserId) && std::strcmp(space.adminUserId, g_user_id) == 0) {
        copy_text(space.role, "owner");
    }
    space.listed = true;
    space.unused_first = -1;
    space.unused_second = -1;
    return true;
}

bool fill_room(const Element& element, HubRoom& room) {
    if (!element.read(room.id, "id", "_id") || !element.read(room.name, "name", "roomName")) {
        return false;
    }
    element.read(room.createdByUserId, "createdByUserId");
    copy_text(room.description, "Sala de voz");
    return true;
}

bool fill_member(const Element& element, HubSpaceUser& member) {
    element.read(member.id, "id");
    const bool has_username = element.read(member.username, "username");
    const bool has_display_name = element.read(member.displayName, "displayName", "display_name");
    const bool has_email = element.read(member.email, "email");
    return has_username || has_display_name || has_email;
}

} // namespace

void Backend_SetSpacesLoadedCallback(TableLoadedCallback callback) {
    g_onSpacesLoaded = callback;
}

void Backend_SetRoomsLoadedCallback(TableLoadedCallback callback) {
    g_onRoomsLoaded = callback;
}

void Backend_SetMembersLoadedCallback(TableLoadedCallback callback) {
    g_onMembersLoaded = callback;
}

void rebuild_spaces_table(const char* answer) {
    g_selected_server_index = -1;
    copy_text(g_hub_chat_scope_type, "");
    copy_text(g_hub_chat_scope_id, "");
    rebuild_table<HubSpace>(answer, g_hub_servers, g_hub_server_count, fill_space);
    notify(g_onSpacesLoaded);
}

void rebuild_rooms_table(const char* answer, const char* space_id) {
    g_selected_room_index = -1;
    copy_text(g_hub_rooms_space_id, space_id);
    rebuild_table<HubRoom>(answer, g_hub_rooms, g_hub_room_count, fill_room);
    notify(g_onRoomsLoaded);
}

void rebuild_members_table(const char* answer, const char* space_id) {
    copy_text(g_hub_space_users_space_id, space_id);
    g_hub_space_user_count = 0;
    // Members are flat objects, so a brace scan does; the first one begins with the brace of the
    // object around the list.
    const char* position = answer;
    while (g_hub_space_user_count < k_max_hub_space_users) {
        const char* const first = std::strchr(position, '{');
        const char* const last = first != nullptr ? std::strchr(first, '}') : nullptr;
        if (last == nullptr) {
            break;
        }
        HubSpaceUser& member = g_hub_space_users[g_hub_space_user_count];
        if (fill_member({first, last}, member)) {
            ++g_hub_space_user_count;
        }
        position = last + 1;
    }
    notify(g_onMembersLoaded);
}
