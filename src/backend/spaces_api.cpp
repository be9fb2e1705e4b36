// See backend/spaces_api.h. The tables are filled in spaces_tables.cpp.
#include "backend/spaces_api.h"

#include "backend/backend_call.h"
#include "backend/hub_tables.h"
#include "backend/identity.h"
#include "backend/json_scan.h"
#include "backend/spaces_tables_internal.h"
#include "base/text.h"

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

namespace {

/// What follows a call's success; its result is the operation's. `answer` is gone with the next
/// call.
using FollowUp = bool (*)(const char* answer, const char* space_id, std::span<char> error);

bool take_spaces(const char* answer, const char* /*space_id*/, std::span<char> /*error*/) {
    rebuild_spaces_table(answer);
    return true;
}

bool take_members(const char* answer, const char* space_id, std::span<char> /*error*/) {
    rebuild_members_table(answer, space_id);
    return true;
}

bool take_rooms(const char* answer, const char* space_id, std::span<char> /*error*/) {
    rebuild_rooms_table(answer, space_id);
    return true;
}

bool reload_spaces(const char* /*answer*/, const char* /*space_id*/, std::span<char> error) {
    return backend_load_spaces(error);
}

bool reload_rooms(const char* /*answer*/, const char* space_id, std::span<char> error) {
    return backend_load_rooms(space_id, error);
}

std::int32_t index_of_space(std::string_view id) {
    for (std::int32_t i = 0; i < g_hub_server_count; ++i) {
        if (g_hub_servers[i].id == id) {
            return i;
        }
    }
    return -1;
}

bool enter_joined_space(const char* answer, const char* /*space_id*/, std::span<char> error) {
    char joined_id[128] = "";
    extract_json_string_field(answer, "id", joined_id);
    if (!backend_load_spaces(error)) {
        return false;
    }
    g_selected_server_index = index_of_space(joined_id);
    if (g_selected_server_index >= 0 &&
        !backend_load_rooms(g_hub_servers[g_selected_server_index].id, {})) {
        g_hub_room_count = 0; // those in the table are another space's
        g_selected_room_index = -1;
        copy_text(g_hub_rooms_space_id, "");
    }
    return true;
}

/// A row of the table. A POST or DELETE carries the session's token and, beside it, `member`.
struct SpacesCall {
    CallMethod method;
    const char* address; ///< the token comes last in that of a GET
    BodyMember member;
    std::size_t answer_size;
    std::uint32_t success[2];
    FollowUp follow_up; ///< null: nothing
    const char* unreachable;
    const char* refused;
};

constexpr BodyMember k_none{nullptr, 0};

// A table, a call in three lines.
// clang-format off
constexpr SpacesCall k_load_spaces{
    CallMethod::get, "%s/api/spaces?sessionToken=%s",
    k_none, 16384, {200}, take_spaces,
    "No se pudo consultar espacios en backend", "Consulta de espacios falló"};
constexpr SpacesCall k_create_space{
    CallMethod::post, "%s/api/spaces",
    k_none, 8192, {201}, reload_spaces,
    "No se pudo crear espacio en backend", "Creación de espacio falló"};
constexpr SpacesCall k_join_by_code{
    CallMethod::post, "%s/api/spaces/join-by-code",
    {"inviteCode", 256}, 4096, {200}, enter_joined_space,
    "No se pudo unir al espacio con código", "Unirse por código falló"};
constexpr SpacesCall k_create_invitation{
    CallMethod::post, "%s/api/spaces/%s/invitations",
    {"invitedEmail", 256}, 4096, {200, 201}, nullptr,
    "No se pudo enviar invitación en backend", "Invitación falló"};
constexpr SpacesCall k_accept_invitation{
    CallMethod::post, "%s/api/spaces/invitations/%s/accept",
    k_none, 4096, {200}, reload_spaces,
    "No se pudo aceptar invitación en backend", "Aceptar invitación falló"};
constexpr SpacesCall k_decline_invitation{
    CallMethod::post, "%s/api/spaces/invitations/%s/decline",
    k_none, 4096, {200}, reload_spaces,
    "No se pudo rechazar invitación en backend", "Rechazar invitación falló"};
constexpr SpacesCall k_load_members{
    CallMethod::get, "%s/api/spaces/%s/members?sessionToken=%s",
    k_none, 32768, {200}, take_members,
    "No se pudo consultar miembros del espacio", "Consulta de miembros falló"};
constexpr SpacesCall k_load_rooms{
    CallMethod::get, "%s/api/spaces/%s/rooms?sessionToken=%s",
    k_none, 16384, {200}, take_rooms,
    "No se pudo consultar salas en backend", "Consulta de salas falló"};
constexpr SpacesCall k_create_room{
    CallMethod::post, "%s/api/spaces/%s/rooms",
    {"name", 256}, 4096, {201}, reload_rooms,
    "No se pudo crear sala en backend", "Creación de sala falló"};
constexpr SpacesCall k_delete_room{
    CallMethod::delete_json, "%s/api/spaces/%s/rooms/%s",
    {"confirmName", 256}, 4096, {200}, reload_rooms,
    "No se pudo eliminar sala en backend", "Eliminación de sala falló"};
// clang-format on

constexpr BackendCall request_of(const SpacesCall& call) {
    return {.method = call.method,
            .address = call.address,
            .address_size = 1024,
            .older_address = nullptr,
            .body = {{"sessionToken", 512}, call.member},
            .body_size = 1024, // more than both values take
            .answer_size = call.answer_size,
            .success = {call.success[0], call.success[1]},
            .unreachable = call.unreachable,
            .refused = call.refused};
}

static_assert(fit_shared_buffers({request_of(k_load_spaces), request_of(k_create_space),
                                  request_of(k_join_by_code), request_of(k_create_invitation),
                                  request_of(k_accept_invitation), request_of(k_decline_invitation),
                                  request_of(k_load_members), request_of(k_load_rooms),
                                  request_of(k_create_room), request_of(k_delete_room)}));

/// What an operation gives its call; null for what the call has no place for.
struct CallArguments {
    const char* space_id = nullptr;
    const char* member_value = nullptr;
    const char* body = nullptr; ///< a ready one, in place of the table's
};

bool run(const SpacesCall& call, std::initializer_list<const char*> names,
         const CallArguments& arguments, std::span<char> error) {
    const BackendCall request = request_of(call);
    const char* const answer =
        arguments.body != nullptr
            ? perform_call_with_body(request, names, arguments.body, error)
            : perform_call(request, names, {g_session_token, arguments.member_value}, error);
    return answer != nullptr &&
           (call.follow_up == nullptr || call.follow_up(answer, arguments.space_id, error));
}

template <std::size_t Size>
std::string escaped(const char* text) {
    char out[Size] = {};
    json_escape(text, out);
    return out;
}

/// Of any length, for the image's sake, whose base64 text needs no escaping.
std::string new_space_body(const char* name, const char* image_base64, const char* mime_type) {
    std::string body = "{\"sessionToken\":\"" + escaped<512>(g_session_token) + "\",\"name\":\"" +
                       escaped<256>(name) + "\",\"description\":\"\"";
    if (!is_empty(image_base64) && !is_empty(mime_type)) {
        body.append(",\"imageBase64\":\"").append(image_base64);
        body.append("\",\"imageMimeType\":\"").append(escaped<64>(mime_type)).append("\"");
    }
    return body + "}";
}

} // namespace

bool backend_load_spaces(std::span<char> error) {
    if (is_empty(g_session_token)) {
        copy_text(error, "No hay sesión activa");
        return false;
    }
    return run(k_load_spaces, {g_session_token}, {}, error);
}

bool backend_create_space(const char* name, const char* image_base64, const char* mime_type,
                          std::span<char> error) {
    const std::string body = new_space_body(name, image_base64, mime_type);
    return run(k_create_space, {}, {.body = body.c_str()}, error);
}

bool backend_join_space_by_code(const char* code, std::span<char> error) {
    return run(k_join_by_code, {}, {.member_value = code}, error);
}

bool backend_create_space_invitation(const char* space_id, const char* email,
                                     std::span<char> error) {
    return run(k_create_invitation, {space_id}, {.member_value = email}, error);
}

bool backend_accept_space_invitation(const char* invitation_id, std::span<char> error) {
    return run(k_accept_invitation, {invitation_id}, {}, error);
}

bool backend_decline_space_invitation(const char* invitation_id, std::span<char> error) {
    return run(k_decline_invitation, {invitation_id}, {}, error);
}

bool backend_load_space_members(const char* space_id, std::span<char> error) {
    if (is_empty(space_id)) {
        copy_text(error, "space_id inválido");
        return false;
    }
    return run(k_load_members, {space_id, g_session_token}, {.space_id = space_id}, error);
}

bool backend_load_rooms(const char* space_id, std::span<char> error) {
    return run(k_load_rooms, {space_id, g_session_token}, {.space_id = space_id}, error);
}

bool backend_create_room(const char* space_id, const char* name, std::span<char> error) {
    return run(k_create_room, {space_id}, {.space_id = space_id, .member_value = name}, error);
}

bool backend_delete_room(const char* space_id, const char* room_id, const char* confirm_name,
                         std::span<char> error) {
    return run(k_delete_room, {space_id, room_id},
               {.space_id = space_id, .member_value = confirm_name}, error);
}
