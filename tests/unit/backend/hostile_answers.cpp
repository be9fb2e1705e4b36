// See hostile_answers.h.
#include "unit/backend/hostile_answers.h"

#include "backend/auth_api.h"
#include "backend/endpoints.h"
#include "backend/http_transport.h"
#include "backend/hub_tables.h"
#include "backend/identity.h"
#include "backend/spaces_api.h"
#include "base/text.h"
#include "support/empty_hub_tables.h"
#include "unit/backend/fake_browser.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

namespace {

std::string g_wrong;
volatile std::uint8_t g_read_byte = 0;

struct Caller {
    char username[64] = "";
    char email[128] = "";
    char session_token[256] = "";
    char error[256] = "";

    SignInTexts texts() { return {username, email, session_token, error}; }
};

const char* any_space_id() {
    return g_hub_server_count > 0 ? g_hub_servers[g_hub_server_count - 1].id : "s\"1";
}

const char* any_room_id() {
    return g_hub_room_count > 0 ? g_hub_rooms[0].id : "r1";
}

bool make_call(std::size_t call, Caller& caller) {
    const std::span<char> error = caller.error;
    switch (call) {
    case 0:
        return backend_auth_login("a\"b", "c\nd", caller.texts());
    case 1:
        return backend_auth_register("a", "b", caller.texts());
    case 2:
        return backend_auth_google_oauth(caller.texts());
    case 3:
        return backend_auth_restore_session(g_session_token, caller.texts());
    case 4:
        return backend_load_spaces(error);
    case 5:
        return backend_create_space("n\"", "QUJD", "image/png", error);
    case 6:
        return backend_join_space_by_code("code", error);
    case 7:
        return backend_create_space_invitation(any_space_id(), "e", error);
    case 8:
        return backend_accept_space_invitation(
            g_hub_server_count > 0 ? g_hub_servers[0].invitationId : "i", error);
    case 9:
        return backend_decline_space_invitation("i", error);
    case 10:
        return backend_load_space_members(any_space_id(), error);
    case 11:
        return backend_load_rooms(any_space_id(), error);
    case 12:
        return backend_create_room(any_space_id(), "n", error);
    case 13:
        return backend_delete_room(any_space_id(), any_room_id(), "n", error);
    default: {
        std::uint32_t status = 0;
        ByteBlock data;
        std::uint64_t size = 0;
        const bool got = http_get_binary("http://h/i", &status, &data, &size);
        if ((data == nullptr) != (size == 0) || (!got && size != 0)) {
            g_wrong = "block and size disagree";
        }
        for (const std::uint8_t byte : std::span(data.get(), static_cast<std::size_t>(size))) {
            g_read_byte = byte; // each is there to be read
        }
        return got;
    }
    }
}

void expect(bool condition, const char* what) {
    if (!condition && g_wrong.empty()) {
        g_wrong = what;
    }
}

template <std::size_t Size>
void expect_text(const char (&text)[Size], const char* what) {
    expect(std::memchr(text, '\0', Size) != nullptr, what);
}

void expect_room(const HubRoom& room) {
    expect_text(room.id, "room id");
    expect_text(room.name, "room name");
    expect_text(room.createdByUserId, "room creator");
    expect(std::string_view(room.description) == "Sala de voz", "room description");
    expect(room.id[0] != '\0' && room.name[0] != '\0' && room.userCount == 0, "room");
}

void expect_space(const HubSpace& space) {
    for (const std::span<const char> text :
         {std::span<const char>(space.name), std::span<const char>(space.id),
          std::span<const char>(space.inviteCode), std::span<const char>(space.imageUrl),
          std::span<const char>(space.description), std::span<const char>(space.role),
          std::span<const char>(space.adminUserId), std::span<const char>(space.invitationStatus),
          std::span<const char>(space.invitationId)}) {
        expect(std::ranges::find(text, '\0') != text.end(), "space text");
    }
    expect(space.id[0] != '\0' && space.name[0] != '\0' && space.role[0] != '\0' && space.listed,
           "space");
    expect(space.unused_first == -1 && space.unused_second == -1, "space numbers");
    expect(!space.roomsCached && !space.roomsCacheValid && space.cachedRoomCount == 0, "cache");
}

void expect_member(const HubSpaceUser& member) {
    expect_text(member.id, "member id");
    expect_text(member.username, "member username");
    expect_text(member.displayName, "member display name");
    expect_text(member.email, "member email");
    expect(member.username[0] != '\0' || member.displayName[0] != '\0' || member.email[0] != '\0',
           "member without a name");
}

template <typename Record>
void expect_different_ids(std::span<const Record> records) {
    for (std::size_t i = 0; i < records.size(); ++i) {
        for (std::size_t j = 0; j < i; ++j) {
            expect(std::strcmp(records[i].id, records[j].id) != 0, "an identifier twice");
        }
    }
}

void expect_sound_tables() {
    expect(g_hub_server_count >= 0 && g_hub_server_count <= k_max_hub_spaces, "spaces");
    expect(g_hub_room_count >= 0 && g_hub_room_count <= k_max_hub_rooms, "rooms");
    expect(g_hub_space_user_count >= 0 && g_hub_space_user_count <= k_max_hub_space_users,
           "members");
    expect(g_selected_server_index >= -1 && g_selected_server_index < g_hub_server_count,
           "selected space");
    expect(g_selected_room_index >= -1 && g_selected_room_index < g_hub_room_count,
           "selected room");
    const std::span spaces = std::span<const HubSpace>(g_hub_servers)
                                 .first(static_cast<std::size_t>(g_hub_server_count));
    const std::span rooms =
        std::span<const HubRoom>(g_hub_rooms).first(static_cast<std::size_t>(g_hub_room_count));
    std::ranges::for_each(spaces, expect_space);
    std::ranges::for_each(rooms, expect_room);
    expect_different_ids(spaces);
    expect_different_ids(rooms);
    std::ranges::for_each(std::span<const HubSpaceUser>(g_hub_space_users)
                              .first(static_cast<std::size_t>(g_hub_space_user_count)),
                          expect_member);
    expect_text(g_hub_space_users_space_id, "members' space");
    expect_text(g_user_id, "user id");
}

/// A body of one object whose texts end where they should.
bool is_readable_body(std::string_view body) {
    if (body.size() < 2 || body.front() != '{' || body.back() != '}') {
        return false;
    }
    bool inside = false;
    for (std::size_t i = 1; i + 1 < body.size(); ++i) {
        if (inside && body[i] == '\\') {
            ++i;
        } else if (body[i] == '"') {
            inside = !inside;
        } else if (body[i] == '\n') {
            return false;
        }
    }
    return !inside;
}

} // namespace

HostileServer::HostileServer() {
    Backend_SetSpacesLoadedCallback(expect_sound_tables);
    Backend_SetRoomsLoadedCallback(expect_sound_tables);
    Backend_SetMembersLoadedCallback(expect_sound_tables);
    copy_text(g_backend_url, "http://backend.test");
    copy_text(g_session_token, "tok\"en");
    copy_text(g_user_id, "me");
    empty_hub_tables();
}

HostileServer::~HostileServer() {
    Backend_SetSpacesLoadedCallback(nullptr);
    Backend_SetRoomsLoadedCallback(nullptr);
    Backend_SetMembersLoadedCallback(nullptr);
}

std::string HostileServer::run(std::size_t call, const FakeWeb& web) {
    g_wrong.clear();
    fake_browser_reset();
    Caller caller;
    const bool done = make_call(call % k_hostile_calls, caller);

    expect_text(caller.username, "username");
    expect_text(caller.email, "email");
    expect_text(caller.session_token, "session token");
    expect_text(caller.error, "error");
    expect(done || call % k_hostile_calls == k_hostile_calls - 1 || caller.error[0] != '\0',
           "a failure without a sentence");
    expect_sound_tables();
    for (const WebCall& request : web.calls()) {
        expect(request.has_body == (request.method != "GET"), "body and method disagree");
        expect(!request.has_body || is_readable_body(request.body), "a body that is broken");
        expect(request.url.starts_with("http://"), "an address elsewhere");
    }
    for (std::string address : fake_browser_opened()) {
        expect(address.find_first_of(" \t\n\"") == std::string::npos, "more than an address");
        std::ranges::transform(address, address.begin(), [](char c) {
            return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c;
        });
        expect(address.starts_with("http://") || address.starts_with("https://"),
               "a program for the desktop");
    }
    expect(web.open_exchanges() == 0, "an open exchange");
    return g_wrong;
}
