// Answers about chats. Called through the table of routes.
#include "service/rest/rest_handlers.h"
#include "service/rest/space_answers.h"
#include "service/shared/chat_texts.h"
#include "service/store/members.h"
#include "service/store/rooms.h"
#include "service/store/store_limits.h"
#include "service/store/text_rules.h"

#include <algorithm>
#include <charconv>

namespace {

// The chat of the path's room, for members of its space only. Empty, with the call's refusal set,
// otherwise.
std::optional<ChatScope> find_room_chat(RestCall& call) {
    const std::optional<Room> room = find_room(call.database(), call.ids[0]);
    if (!room) {
        call.refusal = error_answer(404, "Esa sala no existe");
        return std::nullopt;
    }
    if (!is_member(call.database(), room->space_id, call.account.id)) {
        call.refusal = error_answer(403, "No perteneces a ese espacio");
        return std::nullopt;
    }
    return ChatScope{room->space_id, room->id};
}

RestAnswer history_answer(RestCall& call, const ChatScope& scope) {
    HistoryRequest wanted;
    if (const std::string* const limit = call.fields.find("limit")) {
        const char* const end = limit->data() + limit->size();
        const auto [stop, code] = std::from_chars(limit->data(), end, wanted.limit);
        if (code != std::errc() || stop != end) {
            return error_answer(400, "El número de mensajes no es válido");
        }
    }
    if (const std::string* const before = call.fields.find("before")) {
        const std::optional<std::int64_t> number = read_cursor(*before);
        if (!number) {
            return error_answer(400, "La posición en el historial no es válida");
        }
        wanted.before = *number;
    }
    return json_answer(200, history_text(call.database(), scope, wanted));
}

} // namespace

std::optional<RestAnswer> handle_room_history(RestCall& call) {
    const std::optional<ChatScope> scope = find_room_chat(call);
    return scope ? history_answer(call, *scope) : call.refusal;
}

std::optional<RestAnswer> handle_space_history(RestCall& call) {
    const std::optional<Space> space = find_space_as_member(call);
    return space ? history_answer(call, {space->id, {}}) : call.refusal;
}

std::optional<RestAnswer> handle_room_message(RestCall& call) {
    const std::string* const given = call.required_text("text");
    if (given == nullptr) {
        return call.refusal;
    }
    const std::optional<ChatScope> scope = find_room_chat(call);
    if (!scope) {
        return call.refusal;
    }
    const std::string text = clean_message(*given);
    if (const char* const fault = message_fault(text)) {
        return error_answer(400, fault);
    }
    const std::optional<Message> message = add_message(
        call.database(), *scope, {call.account.id, call.account.username, text}, call.now());
    if (!message) {
        return failure_answer();
    }
    call.event = MessageStored{*scope, *message};
    return json_answer(201, message_text(*message));
}
