// Answers about rooms. Called through the table of routes.
#include "service/rest/rest_handlers.h"
#include "service/rest/space_answers.h"
#include "service/shared/chat_texts.h"
#include "service/shared/client_json.h"
#include "service/store/rooms.h"
#include "service/store/store_limits.h"
#include "service/store/text_rules.h"

#include <nlohmann/json.hpp>

namespace {

// The space of the path, for its owner only.
std::optional<Space> find_space_as_owner(RestCall& call) {
    std::optional<Space> space = find_space_as_member(call);
    if (space && space->owner_id != call.account.id) {
        call.refusal =
            error_answer(403, "Solo quien administra el espacio puede cambiar sus salas");
        space.reset();
    }
    return space;
}

// Clients keep the first bytes of a name and confirm with those, of which a cut character does not
// arrive.
bool is_confirmed(const std::string& name, const std::string& typed) {
    return typed == name ||
           (name.size() > k_client_name_bytes &&
            typed == without_cut_character(std::string_view(name).substr(0, k_client_name_bytes)));
}

} // namespace

std::optional<RestAnswer> handle_list_rooms(RestCall& call) {
    const std::optional<Space> space = find_space_as_member(call);
    if (!space) {
        return call.refusal;
    }
    ListText rooms("rooms", k_max_spaces_answer_bytes);
    for (const Room& room : list_rooms(call.database(), space->id)) {
        rooms.append(room_text(room));
    }
    return json_answer(200, rooms.text());
}

std::optional<RestAnswer> handle_create_room(RestCall& call) {
    const std::string* const given_name = call.required_text("name");
    if (given_name == nullptr) {
        return call.refusal;
    }
    const std::optional<Space> space = find_space_as_owner(call);
    if (!space) {
        return call.refusal;
    }
    const std::optional<std::string> name = clean_name(*given_name);
    if (!name) {
        return error_answer(400, "El nombre de la sala debe tener de 2 a 64 caracteres");
    }
    if (count_rooms(call.database(), space->id) >= k_max_rooms_of_space) {
        return error_answer(409, "El espacio ya tiene 32 salas, que es el máximo");
    }
    const std::optional<Room> room =
        add_room(call.database(), {space->id, *name, call.account.id}, call.now());
    if (!room) {
        return failure_answer();
    }
    call.event = RoomCreated{*room};
    return json_answer(201, room_text(*room));
}

std::optional<RestAnswer> handle_delete_room(RestCall& call) {
    const std::string* const typed = call.required_text("confirmName");
    if (typed == nullptr) {
        return call.refusal;
    }
    const std::optional<Space> space = find_space_as_owner(call);
    if (!space) {
        return call.refusal;
    }
    const std::optional<Room> room = find_room(call.database(), call.ids[1]);
    if (!room || room->space_id != space->id) {
        return error_answer(404, "Esa sala no existe");
    }
    if (room->is_general) {
        return error_answer(409, "La sala principal de un espacio no se puede eliminar");
    }
    if (!is_confirmed(room->name, *typed)) {
        return error_answer(400, "El nombre escrito no es el de la sala");
    }
    if (!delete_room(call.database(), room->id)) {
        return failure_answer();
    }
    call.event = RoomDeleted{*room};
    return json_answer(200, compact_text({{"id", room->id}}));
}
