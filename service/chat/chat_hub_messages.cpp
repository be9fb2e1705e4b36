// See service/chat/chat_hub.h. This file: following spaces and rooms, messages and histories.
#include "service/chat/chat_frames.h"
#include "service/chat/chat_hub.h"
#include "service/chat/chat_hub_texts.h"
#include "service/shared/chat_texts.h"
#include "service/store/database.h"
#include "service/store/members.h"
#include "service/store/rooms.h"
#include "service/store/text_rules.h"

// --- What frames say -----------------------------------------------------------------------------

// The space that is named, for members of it only.
std::optional<std::string> ChatHub::find_space(Client& client, const FlatFields& fields,
                                               Reply& refusal) {
    const std::string* const id = fields.find("spaceId");
    if (id == nullptr) {
        refusal = refuse("Falta el campo spaceId");
        return std::nullopt;
    }
    if (!is_member(m_database, *id, client.account.id)) {
        refusal = refuse(k_no_member);
        return std::nullopt;
    }
    return *id;
}

// The chat of the room or of the space that is named, for members of the space only.
std::optional<ChatScope> ChatHub::find_chat(Client& client, const FlatFields& fields,
                                            Reply& refusal) {
    // Of whatever kind: what was meant for a room must not be told to a space.
    const auto is_given = [&](const char* key) {
        return fields.find(key) != nullptr || fields.is_other(key);
    };
    if (is_given("roomId") == is_given("spaceId")) {
        refusal = refuse("Hay que indicar una sala (roomId) o un espacio (spaceId)");
        return std::nullopt;
    }
    if (is_given("spaceId")) {
        std::optional<std::string> space_id = find_space(client, fields, refusal);
        return space_id ? std::optional(ChatScope{std::move(*space_id), {}}) : std::nullopt;
    }
    const std::string* const room_id = fields.find("roomId");
    const std::optional<Room> room =
        room_id != nullptr ? find_room(m_database, *room_id) : std::nullopt;
    if (!room || !is_member(m_database, room->space_id, client.account.id)) {
        refusal = refuse(k_no_room);
        return std::nullopt;
    }
    return ChatScope{room->space_id, room->id};
}

// --- Following -----------------------------------------------------------------------------------

bool ChatHub::follow(Client& client, const ChatTopic& topic, Reply& refusal) {
    if (!m_follows.has(client.id, topic) && m_follows.count(client.id) >= m_limits.subscriptions) {
        refusal = refuse(k_too_many_follows);
        return false;
    }
    m_follows.add(client.id, topic);
    return true;
}

ChatHub::Reply ChatHub::on_subscribe(Client& client, const FlatFields& fields) {
    const std::string* const channel = fields.find("channel");
    Reply refusal;
    if (channel != nullptr && *channel == "roomMessages") {
        const std::string* const room_id = fields.find("roomId");
        const std::optional<Room> room =
            room_id != nullptr ? find_room(m_database, *room_id) : std::nullopt;
        if (!room || !is_member(m_database, room->space_id, client.account.id)) {
            return refuse(k_no_room);
        }
        return follow(client, {ChatChannel::room_messages, room->space_id, room->id}, refusal)
                   ? Reply{{subscribed_frame(*channel, {room->space_id, room->id})}}
                   : refusal;
    }
    const bool is_rooms = channel != nullptr && *channel == "spaceRooms";
    if (!is_rooms && (channel == nullptr || *channel != "spaceMessages")) {
        return refuse("Ese canal (channel) no existe");
    }
    const std::optional<std::string> space_id = find_space(client, fields, refusal);
    if (!space_id) {
        return refusal;
    }
    if (is_rooms) {
        const std::vector<Room> rooms = list_rooms(m_database, *space_id);
        if (take_failure()) {
            return refuse(k_failed); // and it follows nothing
        }
        return follow(client, {ChatChannel::space_rooms, *space_id}, refusal)
                   ? Reply{{rooms_snapshot_frame(*space_id, rooms)}}
                   : refusal;
    }
    if (!follow(client, {ChatChannel::space_messages, *space_id}, refusal)) {
        return refusal;
    }
    return {
        {subscribed_frame(*channel, {*space_id, {}}), stream_frame(*space_id, client.account.id)}};
}

ChatHub::Reply ChatHub::on_join(Client& client, const FlatFields& fields) {
    Reply refusal;
    const std::optional<std::string> space_id = find_space(client, fields, refusal);
    if (!space_id || !follow(client, {ChatChannel::space_joined, *space_id}, refusal)) {
        return refusal;
    }
    Reply reply{{joined_frame(*space_id)}};
    if (m_streams.contains(*space_id)) {
        reply.frames.push_back(stream_frame(*space_id, client.account.id));
    }
    return reply;
}

// --- Messages ------------------------------------------------------------------------------------

ChatHub::Reply ChatHub::on_message(Client& client, const FlatFields& fields) {
    const std::string* const given = fields.find("text");
    if (given == nullptr) {
        return refuse("Falta el campo text");
    }
    Reply refusal;
    const std::optional<ChatScope> scope = find_chat(client, fields, refusal);
    if (!scope) {
        return refusal;
    }
    const std::string text = clean_message(*given);
    if (const char* const fault = message_fault(text)) {
        return refuse(fault);
    }
    const std::optional<Message> message = add_message(
        m_database, *scope, {client.account.id, client.account.username, text}, m_hooks.now());
    if (!message) {
        return refuse(k_failed);
    }
    announce(MessageStored{*scope, *message});
    return {};
}

ChatHub::Reply ChatHub::on_history(Client& client, const FlatFields& fields) {
    HistoryRequest wanted;
    if (const std::optional<std::int64_t> limit = fields.find_number("limit")) {
        wanted.limit = *limit;
    } else if (fields.is_other("limit") || fields.find("limit") != nullptr) {
        return refuse("El número de mensajes (limit) no es válido");
    }
    const std::string* const before = fields.find("before");
    if (before != nullptr || fields.is_other("before")) {
        const std::optional<std::int64_t> number =
            before != nullptr ? read_cursor(*before) : std::nullopt;
        if (!number) {
            return refuse("La posición en el historial (before) no es válida");
        }
        wanted.before = *number;
    }
    Reply refusal;
    const std::optional<ChatScope> scope = find_chat(client, fields, refusal);
    return scope ? Reply{{history_frame(*scope, history_text(m_database, *scope, wanted))}}
                 : refusal;
}
