// Chat messages of rooms and of spaces. Called by the answers about chats; a message is stored
// before anybody is told of it.
#pragma once

#include "service/store/wall_time.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

class Database;

/// A chat: a room's, or with an empty `room_id` that of the space itself.
struct ChatScope {
    std::string space_id;
    std::string room_id;
};

struct Message {
    std::int64_t number = 0; ///< grows with every message of any chat
    std::string sender_name;
    WallTime created_at = 0;
    std::string text;
};

struct NewMessage {
    std::string_view sender_id;
    std::string_view sender_name;
    std::string_view text; ///< clean and not empty
};

/// Empty on a failure.
std::optional<Message> add_message(Database& database, const ChatScope& scope,
                                   const NewMessage& message, WallTime now);

/// The newest messages before the one numbered `before` (0: the newest of all), newest first,
/// `limit` of them at most.
std::vector<Message> list_messages(Database& database, const ChatScope& scope, std::int64_t before,
                                   std::int64_t limit);

/// 2024-05-01T10:20:30.000Z.
std::string iso_time(WallTime time);
