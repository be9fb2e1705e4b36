// See chat/chat_messages.h.
#include "chat/chat_messages.h"

#include "backend/hub_tables.h"
#include "backend/identity.h"
#include "base/clock.h"
#include "base/text.h"
#include "chat/chat_connection.h"
#include "chat/chat_frame_internal.h"
#include "chat/hub_click_log.h"

namespace {

enum class Join {
    none,
    tried,    ///< a failure is logged, and the frame sent all the same
    required, ///< a failure is the sender's
};

/// How long a sender waits for the connection, in ms; a restart is only possible while a space is
/// selected.
struct SenderWaits {
    std::uint32_t ready;
    std::uint32_t ready_after_restart; ///< 0: it does not restart
    Join join;
    std::uint32_t handle;
    std::uint32_t handle_after_restart; ///< 0: no restart for want of a handle
    std::uint32_t handle_to_resend;     ///< 0: a failed send is the end
};

constexpr SenderWaits k_room_message{1200, 1800, Join::none, 120, 900, 1000};
constexpr SenderWaits k_space_message{1800, 3200, Join::tried, 120, 900, 1000};
constexpr SenderWaits k_room_history{1200, 0, Join::none, 120, 0, 0};
constexpr SenderWaits k_space_history{1600, 3200, Join::required, 120, 0, 0};
constexpr SenderWaits k_stream{1800, 0, Join::required, 120, 0, 0};

constexpr std::uint32_t k_resend_pause_ms = 120;
constexpr std::int32_t k_default_limit = 100;

bool restart() {
    if (is_empty(g_selected_space_id)) {
        return false;
    }
    chat_ws_restart_for_selected_space();
    return true;
}

bool get_ready(const SenderWaits& waits) {
    return chat_ws_wait_until_ready(waits.ready) ||
           (waits.ready_after_restart > 0 && restart() &&
            chat_ws_wait_until_ready(waits.ready_after_restart));
}

/// Enters the space's chat where the row asks for it; false when the sender ends there.
bool join(const SenderWaits& waits, const char* space_id) {
    if (waits.join == Join::none || chat_ws_join_space_chat(space_id)) {
        return true;
    }
    if (waits.join == Join::tried) {
        append_hub_click_log("[HUB][CHAT][SEND] join-ack-timeout spaceId=%s, trying direct send",
                             space_id);
        return true;
    }
    return false;
}

/// Restarts for want of a connection, which a sender that can does once.
ChatSocket reconnect(const SenderWaits& waits, const char* space_id) {
    if (waits.handle_after_restart == 0 || !restart()) {
        return nullptr;
    }
    chat_ws_wait_until_ready(waits.ready_after_restart);
    if (waits.join != Join::none && !chat_ws_join_space_chat(space_id)) {
        append_hub_click_log("[HUB][CHAT][SEND] join-ack-timeout after-restart spaceId=%s",
                             space_id);
    }
    return chat_ws_get_handle_with_wait(waits.handle_after_restart);
}

bool send_once_more(const SenderWaits& waits, const char* frame) {
    if (waits.handle_to_resend == 0 || !restart()) {
        return false;
    }
    clock_sleep_ms(k_resend_pause_ms);
    return chat_ws_send_json(chat_ws_get_handle_with_wait(waits.handle_to_resend), frame);
}

/// Sends `frame` after the waits of its row; `space_id` names the chat to join, null where the row
/// joins none.
bool send_frame(const SenderWaits& waits, const char* frame, const char* space_id = nullptr) {
    if (!get_ready(waits) || !join(waits, space_id)) {
        return false;
    }
    ChatSocket socket = chat_ws_get_handle_with_wait(waits.handle);
    if (socket == nullptr) {
        socket = reconnect(waits, space_id);
    }
    if (socket == nullptr) {
        return false;
    }
    return chat_ws_send_json(socket, frame) || send_once_more(waits, frame);
}

template <const FrameForm& Newest, const FrameForm& Older>
bool request_history(const SenderWaits& waits, const char* id, std::int32_t limit,
                     const char* before, const char* space_id = nullptr) {
    const std::int32_t count = limit < 1 ? k_default_limit : limit;
    if (is_empty(before)) {
        return send_frame(waits, ChatFrame<Newest>(id, g_session_token, count).text(), space_id);
    }
    return send_frame(waits, ChatFrame<Older>(id, g_session_token, count, before).text(), space_id);
}

} // namespace

bool chat_ws_send_room_message(const char* room_id, const char* text) {
    const ChatFrame<k_frame_room_message> frame(room_id, g_session_token, text);
    return send_frame(k_room_message, frame.text());
}

bool chat_ws_send_space_message(const char* space_id, const char* text) {
    const ChatFrame<k_frame_space_message> frame(space_id, g_session_token, text);
    return send_frame(k_space_message, frame.text(), space_id);
}

bool chat_ws_request_room_history(const char* room_id, std::int32_t limit, const char* before) {
    return request_history<k_frame_room_history, k_frame_older_room_history>(
        k_room_history, room_id, limit, before);
}

bool chat_ws_request_space_history(const char* space_id, std::int32_t limit, const char* before) {
    return request_history<k_frame_space_history, k_frame_older_space_history>(
        k_space_history, space_id, limit, before, space_id);
}

bool chat_ws_send_stream_start(const char* space_id) {
    const ChatFrame<k_frame_stream_start> frame(space_id, g_session_token);
    return send_frame(k_stream, frame.text(), space_id);
}

bool chat_ws_send_stream_stop(const char* space_id) {
    const ChatFrame<k_frame_stream_stop> frame(space_id, g_session_token);
    return send_frame(k_stream, frame.text(), space_id);
}

bool chat_ws_send_stream_watch(const char* space_id, const char* publisher_user_id) {
    const ChatFrame<k_frame_stream_watch> frame(space_id, publisher_user_id, g_session_token);
    return send_frame(k_stream, frame.text(), space_id);
}

bool chat_ws_send_stream_unwatch(const char* space_id, const char* publisher_user_id) {
    const ChatFrame<k_frame_stream_unwatch> frame(space_id, publisher_user_id, g_session_token);
    return send_frame(k_stream, frame.text(), space_id);
}
