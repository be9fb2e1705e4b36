// The live chat channel of the selected space: one web socket with a thread of its own, which never
// comes back by itself; whoever sends restarts it. Called by the hub and by the chat messages.
//
// All of it belongs to the main thread, but for what says otherwise. Operations that wait block it
// for as long as they say.
#pragma once

#include "platform/web_socket.h"

#include <cstdint>
#include <memory>

/// A connection that is held while it is used, also when its thread ends meanwhile. Null: none.
using ChatSocket = std::shared_ptr<WebSocket>;

extern char g_chat_ws_space_id[64]; ///< the space this connection serves

/// Connects for the selected space, on a thread, in place of an earlier connection; does nothing
/// without a space or a session.
void chat_ws_start_for_selected_space();

/// Ends the connection, which takes 1 s or so at most, and waits for its thread, 1,500 ms at most;
/// a thread that takes longer ends by itself and changes nothing any more. Also for the program's
/// end.
void chat_ws_stop();

void chat_ws_restart_for_selected_space();

/// Which run of the connection is the latest: another number after each start and each stop, and
/// once one that ended by itself was cleaned up.
std::uint32_t chat_ws_run_number();

/// The connection as soon as it is open, null when it is not within `milliseconds`.
ChatSocket chat_ws_get_handle_with_wait(std::uint32_t milliseconds);

/// Whether the server has let this client in, and the connection is still there.
bool chat_ws_is_ready();

/// True as soon as the server has let this client in, false when it has not within `milliseconds`.
bool chat_ws_wait_until_ready(std::uint32_t milliseconds);

/// Whether the connection's thread is running. Cleans up after one that ended.
bool chat_ws_connection_is_usable();

/// The room whose messages the hub wants, followed from the next frame on; empty for none.
void chat_ws_follow_room(const char* room_id);

/// Sends one frame; false for a missing connection, an empty text, or when it could not be sent.
/// Any thread, as long as nobody stops the channel beside it: what was stopped is closed unlocked.
bool chat_ws_send_json(const ChatSocket& socket, const char* text);

/// Whether the server's last word was that this client is in the chat of `space_id`.
bool chat_ws_has_joined(const char* space_id);

/// Enters the chat of `space_id` and waits for the server's word, 3,000 ms at most; before that up
/// to 5,900 ms for a connection.
bool chat_ws_join_space_chat(const char* space_id);
