// The texts that the chat half sends: one JSON object each. Used by the hub.
//
// Clients search them for the bytes "key":": they are compact, and what a frame is about stands
// before what people wrote.
#pragma once

#include "service/store/accounts.h"
#include "service/store/messages.h"
#include "service/store/rooms.h"

#include <string>
#include <string_view>
#include <vector>

/// Who streams in a space, or has stopped.
struct StreamStatus {
    std::string_view space_id;
    std::string_view publisher_id; ///< an account's
    bool is_streaming = false;
};

/// "auth:ok" with "userId" and "username".
std::string auth_ok_frame(const Account& account);
/// "error" with a sentence for people.
std::string error_frame(std::string_view text);
/// "chat:joined".
std::string joined_frame(std::string_view space_id);
/// "subscribed" with the channel and the "spaceId" or "roomId".
std::string subscribed_frame(std::string_view channel, const ChatScope& scope);
std::string rooms_snapshot_frame(std::string_view space_id, const std::vector<Room>& rooms);
std::string room_created_frame(const Room& room);
std::string room_deleted_frame(const Room& room);
/// "message:new", with the "roomId" of a room's chat and the "spaceId" of a space's.
std::string message_frame(const ChatScope& scope, const Message& message);
/// "messages:history": `page` is the text that history_text() gave.
std::string history_frame(const ChatScope& scope, std::string_view page);
std::string stream_status_frame(const StreamStatus& status);
