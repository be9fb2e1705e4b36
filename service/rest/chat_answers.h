// Chat messages as clients read them. Called by the answers about chats.
#pragma once

#include "service/store/messages.h"

#include <optional>
#include <string>
#include <string_view>

struct HistoryRequest {
    std::int64_t limit = 100; ///< brought into 1 to 100
    std::int64_t before = 0;  ///< a message's number, 0 for the newest page
};

/// {"senderDisplayName","createdAt","text"}. The text comes last: clients go on after it, and would
/// take what stands behind for the next message's.
std::string message_text(const Message& message);

/// {"hasMore","nextBefore","messages"}: a page in the order in which it was written. Shorter than
/// asked for when a client's buffer would not hold it.
std::string history_text(Database& database, const ChatScope& scope, HistoryRequest wanted);

/// What "nextBefore" says of a message, and back; empty for what it never says.
std::string cursor_text(std::int64_t number);
std::optional<std::int64_t> read_cursor(std::string_view cursor);
