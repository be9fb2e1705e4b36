// The frames that the client sends over the chat channel. Each operation waits for the connection
// as its row of the table says, restarting it where the row allows, and returns true once the frame
// was sent. Main thread.
#pragma once

#include <cstdint>

bool chat_ws_send_room_message(const char* room_id, const char* text);
bool chat_ws_send_space_message(const char* space_id, const char* text);

/// A `limit` below 1 stands for 100; `before` is the cursor for older messages, null or empty for
/// the newest.
bool chat_ws_request_room_history(const char* room_id, std::int32_t limit, const char* before);
bool chat_ws_request_space_history(const char* space_id, std::int32_t limit, const char* before);

bool chat_ws_send_stream_start(const char* space_id);
bool chat_ws_send_stream_stop(const char* space_id);
bool chat_ws_send_stream_watch(const char* space_id, const char* publisher_user_id);
bool chat_ws_send_stream_unwatch(const char* space_id, const char* publisher_user_id);
