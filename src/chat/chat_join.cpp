// Entering the chat of a space, which the server confirms. See chat/chat_connection.h.
#include "backend/hub_tables.h"
#include "backend/identity.h"
#include "base/clock.h"
#include "base/text.h"
#include "chat/chat_frame_internal.h"
#include "chat/chat_internal.h"
#include "chat/hub_click_log.h"

namespace {

constexpr std::uint32_t k_first_wait_ms = 1800;
constexpr std::uint32_t k_restart_wait_ms = 3200;
constexpr std::uint32_t k_handle_wait_ms = 900;
constexpr std::uint32_t k_answer_wait_ms = 3000;

bool get_ready(const char* space_id) {
    if (chat_ws_wait_until_ready(k_first_wait_ms)) {
        return true;
    }
    append_hub_click_log("[HUB][CHAT][JOIN] ws-not-ready initial spaceId=%s", space_id);
    if (is_empty(g_selected_space_id)) {
        append_hub_click_log("[HUB][CHAT][JOIN] no-selected-space for restart spaceId=%s",
                             space_id);
        return false;
    }
    chat_ws_restart_for_selected_space();
    if (chat_ws_wait_until_ready(k_restart_wait_ms)) {
        return true;
    }
    append_hub_click_log("[HUB][CHAT][JOIN] ws-not-ready after-restart spaceId=%s", space_id);
    return false;
}

bool wait_for_answer(const char* space_id) {
    for (std::uint32_t waited = 0; waited <= k_answer_wait_ms; waited += k_chat_poll_ms) {
        if (chat_ws_has_joined(space_id)) {
            append_hub_click_log("[HUB][CHAT][JOIN] ack spaceId=%s", space_id);
            return true;
        }
        if (!chat_ws_is_ready()) {
            append_hub_click_log("[HUB][CHAT][JOIN] aborted spaceId=%s", space_id);
            return false;
        }
        clock_sleep_ms(k_chat_poll_ms);
    }
    append_hub_click_log("[HUB][CHAT][JOIN] timeout spaceId=%s", space_id);
    return false;
}

} // namespace

bool chat_ws_join_space_chat(const char* space_id) {
    if (is_empty(space_id)) {
        append_hub_click_log("[HUB][CHAT][JOIN] invalid-space-id");
        return false;
    }
    if (chat_ws_has_joined(space_id)) {
        append_hub_click_log("[HUB][CHAT][JOIN] already-joined spaceId=%s", space_id);
        return true;
    }
    if (!get_ready(space_id)) {
        return false;
    }
    const ChatSocket socket = chat_ws_get_handle_with_wait(k_handle_wait_ms);
    if (socket == nullptr) {
        append_hub_click_log("[HUB][CHAT][JOIN] no-ws-handle spaceId=%s", space_id);
        return false;
    }
    chat_ws_forget_join();
    const ChatFrame<k_frame_join> request(space_id, g_session_token);
    if (!chat_ws_send_json(socket, request.text())) {
        append_hub_click_log("[HUB][CHAT][JOIN] send-failed spaceId=%s", space_id);
        return false;
    }
    append_hub_click_log("[HUB][CHAT][JOIN] request spaceId=%s", space_id);
    return wait_for_answer(space_id);
}
