// See service/chat/chat_frames.h.
#include "service/chat/chat_frames.h"

#include "service/shared/chat_texts.h"
#include "service/shared/flat_json.h"

#include <nlohmann/json.hpp>

namespace {

// {"type":"...","roomId":"..."} or with the space's id, which is all that identifiers need.
AnswerJson frame_about(const char* type, const ChatScope& scope) {
    AnswerJson json;
    json["type"] = type;
    if (scope.room_id.empty()) {
        json["spaceId"] = scope.space_id;
    } else {
        json["roomId"] = scope.room_id;
    }
    return json;
}

// The object `head` with what stands in the object `rest` behind it.
std::string joined_objects(const AnswerJson& head, std::string_view rest) {
    std::string text = compact_text(head);
    text.back() = ',';
    return text.append(rest.substr(1));
}

} // namespace

std::string auth_ok_frame(const Account& account) {
    return compact_text(
        {{"type", "auth:ok"}, {"userId", account.id}, {"username", account.username}});
}

std::string error_frame(std::string_view text) {
    return compact_text({{"type", "error"}, {"error", text}});
}

std::string joined_frame(std::string_view space_id) {
    return compact_text({{"type", "chat:joined"}, {"spaceId", space_id}});
}

std::string subscribed_frame(std::string_view channel, const ChatScope& scope) {
    AnswerJson json = frame_about("subscribed", scope);
    json["channel"] = channel;
    return compact_text(json);
}

std::string rooms_snapshot_frame(std::string_view space_id, const std::vector<Room>& rooms) {
    std::string list;
    for (const Room& room : rooms) {
        list += list.empty() ? "" : ",";
        list += room_text(room);
    }
    return joined_objects({{"type", "rooms:snapshot"}, {"spaceId", space_id}},
                          "{\"rooms\":[" + list + "]}");
}

std::string room_created_frame(const Room& room) {
    return joined_objects({{"type", "room:created"}, {"spaceId", room.space_id}},
                          "{\"room\":" + room_text(room) + "}");
}

std::string room_deleted_frame(const Room& room) {
    return compact_text(
        {{"type", "room:deleted"}, {"spaceId", room.space_id}, {"roomId", room.id}});
}

std::string message_frame(const ChatScope& scope, const Message& message) {
    return joined_objects(frame_about("message:new", scope), message_text(message));
}

std::string history_frame(const ChatScope& scope, std::string_view page) {
    return joined_objects(frame_about("messages:history", scope), page);
}

std::string stream_status_frame(const StreamStatus& status) {
    return compact_text({{"type", "stream:status"},
                         {"spaceId", status.space_id},
                         {"publisherUserId", status.publisher_id},
                         {"isStreaming", status.is_streaming}});
}
