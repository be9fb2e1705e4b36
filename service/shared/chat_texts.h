// Chat messages and rooms as clients read them, and what a message may say. Used by the REST and
// the chat half.
#pragma once

#include "service/store/messages.h"
#include "service/store/rooms.h"

#include <optional>
#include <string>
#include <string_view>

/// A page of messages goes over the chat channel too, within a frame that names its chat.
constexpr std::size_t k_max_history_answer_bytes = 60'000;

struct HistoryRequest {
    std::int64_t limit = 100; ///< brought into 1 to 100
    std::int64_t before = 0;  ///< a message's number, 0 for the newest page
};

/// Why nobody can say `text`, which is clean: a sentence for people. Null when it can be said.
const char* message_fault(std::string_view text);

/// {"senderDisplayName","createdAt","text"}. The text comes last: clients go on after it, and would
/// take what stands behind for the next message's.
std::string message_text(const Message& message);

/// {"hasMore","nextBefore","messages"}: a page in the order in which it was written. Shorter than
/// asked for when a client's buffer would not hold it.
std::string history_text(Database& database, const ChatScope& scope, HistoryRequest wanted);

/// {"id","name","createdByUserId"}.
std::string room_text(const Room& room);

/// What "nextBefore" says of a message, and back; empty for what it never says.
std::string cursor_text(std::int64_t number);
std::optional<std::int64_t> read_cursor(std::string_view cursor);
