// What the hub does with what the chat channel tells: rooms, messages, history, streams. Called by
// the channel on the main thread. See ui/hub/hub_chat_internal.h.
#include "ui/hub/hub_chat_internal.h"

#include "backend/identity.h"
#include "backend/spaces_api.h"
#include "base/text.h"
#include "chat/chat_connection.h"
#include "chat/chat_events.h"
#include "chat/history_recovery_log.h"
#include "chat/scope_chat.h"
#include "ui/hub/hub_internal.h"
#include "ui/hub/space_users_internal.h"
#include "ui/room/room_internal.h"

#include <cstring>
#include <string>
#include <utility>

namespace {

bool are_equal(const char* a, const char* b) {
    return std::strcmp(a, b) == 0;
}

/// Whether the chat that the hub shows is that of this room or space.
bool is_in_scope(const char* room_id, const char* space_id) {
    if (are_equal(g_hub_chat_scope_type, "room")) {
        return are_equal(g_hub_chat_scope_id, room_id);
    }
    return are_equal(g_hub_chat_scope_type, "space") && !is_empty(space_id) &&
           are_equal(g_hub_chat_scope_id, space_id);
}

void on_rooms_event() {
    if (is_empty(g_selected_space_id) || !are_equal(g_selected_space_id, g_chat_ws_space_id)) {
        return;
    }
    char error[256] = "";
    if (backend_load_rooms(g_selected_space_id, error)) {
        cache_selected_space_rooms();
        refresh_hub_server_list();
    }
}

void on_message_event(const ChatMessageEvent& event) {
    // One's own messages do not come live, they come with the history.
    if (is_in_scope(event.room_id, event.space_id) &&
        !are_equal(event.sender_display_name, first_filled(g_display_name, g_username))) {
        append_hub_chat_row(event.sender_display_name, event.text, event.created_at);
    }
}

void on_history_event(const ChatHistoryEvent& event) {
    bool prepend = false;
    bool is_applied = false;
    if (is_in_scope(event.room_id, event.space_id)) {
        prepend = std::exchange(g_hub_chat_pending_history_prepend, false);
        is_applied = apply_chat_history_payload(event.payload, prepend, false, nullptr);
    }
    append_chat_history_raw_log(event.room_id, prepend, is_applied, event.payload);
    g_hub_chat_loading_history = false;
    set_hub_chat_loading_indicator(false);
}

std::uint32_t g_stream_run = 0; ///< of the channel, in which it was last told who streams

void take_stream_start(const char* user_id) {
    copy_text(g_hub_streaming_user_id, user_id);
    g_hub_local_streaming = is_local_user(user_id);
}

void take_stream_stop(const std::string& user_id) {
    if (user_id != g_hub_streaming_user_id) {
        return;
    }
    g_hub_streaming_user_id[0] = '\0';
    if (user_id == g_hub_viewing_stream_user_id) {
        g_hub_viewing_stream_user_id[0] = '\0';
        show_hub_room_chat_view();
    }
    if (is_local_user(user_id.c_str())) {
        g_hub_local_streaming = false;
    }
}

/// One streams at a time: where the first word of a run is not that somebody still does, that
/// stream has ended while the channel was gone.
void take_first_word(const ChatStreamEvent& event) {
    const bool goes_on =
        event.is_streaming && are_equal(event.publisher_user_id, g_hub_streaming_user_id);
    if (!goes_on && !is_empty(g_hub_streaming_user_id) && !is_local_user(g_hub_streaming_user_id)) {
        take_stream_stop(g_hub_streaming_user_id);
    }
}

void on_stream_event(const ChatStreamEvent& event) {
    if (!are_equal(event.space_id, g_selected_space_id)) {
        return;
    }
    if (g_stream_run != event.run_number) {
        g_stream_run = event.run_number;
        take_first_word(event);
    }
    if (event.is_streaming) {
        take_stream_start(event.publisher_user_id);
    } else {
        take_stream_stop(event.publisher_user_id);
    }
    refresh_hub_space_users_list();
    update_hub_stream_status_label();
    refresh_peers_list(); // whose buttons say what they would do
}

} // namespace

void register_hub_chat_events() {
    Chat_SetRoomsCallback(on_rooms_event);
    Chat_SetMessageCallback(on_message_event);
    Chat_SetHistoryCallback(on_history_event);
    Chat_SetStreamCallback(on_stream_event);
    Chat_SetHistoryApplier(apply_chat_history_payload);
}
