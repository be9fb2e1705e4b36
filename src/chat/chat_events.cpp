// See chat/chat_events.h. A table of the frames that mean something; all others are ignored.
#include "chat/chat_events.h"

#include "backend/json_scan.h"
#include "base/main_thread.h"
#include "base/text.h"
#include "chat/chat_internal.h"
#include "chat/hub_click_log.h"

#include <cstring>
#include <memory>
#include <utility>

namespace {

ChatRoomsCallback g_on_rooms = nullptr;
ChatMessageCallback g_on_message = nullptr;
ChatHistoryCallback g_on_history = nullptr;
ChatStreamCallback g_on_stream = nullptr;

/// Hands a record over, or only the word; the slot is read where it belongs, on the main thread.
template <typename... Event>
void post(void (*&callback)(const Event&...), std::unique_ptr<Event>... event) {
    run_on_main_thread([... event = std::move(event), &callback] {
        if (callback != nullptr) {
            callback(*event...);
        }
    });
}

void take_auth_ok(ChatRun& run, const char* /*frame*/) {
    chat_ws_set_ready(run);
}

void take_joined(ChatRun& run, const char* frame) {
    char space_id[64] = "";
    if (extract_json_string_field(frame, "spaceId", space_id)) {
        chat_ws_set_joined(run, space_id);
        append_hub_click_log("[HUB][CHAT][JOIN] ws-chat:joined spaceId=%s", space_id);
    }
}

// The space is looked for anywhere in the frame: servers name it under different keys.
void take_rooms(ChatRun& run, const char* frame) {
    if (std::strstr(frame, run.space_id) != nullptr) {
        post(g_on_rooms);
    }
}

void take_message(ChatRun& /*run*/, const char* frame) {
    auto event = std::make_unique<ChatMessageEvent>();
    extract_json_string_field(frame, "roomId", event->room_id);
    extract_json_string_field(frame, "spaceId", event->space_id);
    extract_json_string_field(frame, "senderDisplayName", event->sender_display_name);
    extract_json_string_field(frame, "text", event->text);
    extract_json_string_field(frame, "createdAt", event->created_at);
    if ((!is_empty(event->room_id) || !is_empty(event->space_id)) && !is_empty(event->text)) {
        post(g_on_message, std::move(event));
    }
}

void take_history(ChatRun& /*run*/, const char* frame) {
    auto event = std::make_unique<ChatHistoryEvent>();
    extract_json_string_field(frame, "roomId", event->room_id);
    extract_json_string_field(frame, "spaceId", event->space_id);
    if (!is_empty(event->room_id) || !is_empty(event->space_id)) {
        copy_text(event->payload, frame);
        post(g_on_history, std::move(event));
    }
}

void take_stream_status(ChatRun& run, const char* frame) {
    auto event = std::make_unique<ChatStreamEvent>();
    event->run_number = run.number;
    extract_json_string_field(frame, "spaceId", event->space_id);
    extract_json_string_field(frame, "publisherUserId", event->publisher_user_id);
    extract_json_bool_field(frame, "isStreaming", &event->is_streaming);
    if (!is_empty(event->space_id) && !is_empty(event->publisher_user_id)) {
        post(g_on_stream, std::move(event));
    }
}

struct IncomingFrame {
    const char* type;
    void (*take)(ChatRun& run, const char* frame);
};

constexpr IncomingFrame k_incoming_frames[] = {
    {"auth:ok", take_auth_ok},          {"chat:joined", take_joined},
    {"rooms:snapshot", take_rooms},     {"room:created", take_rooms},
    {"room:deleted", take_rooms},       {"message:new", take_message},
    {"messages:history", take_history}, {"stream:status", take_stream_status},
};

} // namespace

void Chat_SetRoomsCallback(ChatRoomsCallback callback) {
    g_on_rooms = callback;
}

void Chat_SetMessageCallback(ChatMessageCallback callback) {
    g_on_message = callback;
}

void Chat_SetHistoryCallback(ChatHistoryCallback callback) {
    g_on_history = callback;
}

void Chat_SetStreamCallback(ChatStreamCallback callback) {
    g_on_stream = callback;
}

void handle_chat_frame(ChatRun& run, const char* frame) {
    if (!chat_ws_is_current(run)) {
        return;
    }
    char type[64] = "";
    extract_json_string_field(frame, "type", type);
    for (const IncomingFrame& known : k_incoming_frames) {
        if (std::strcmp(type, known.type) == 0) {
            known.take(run, frame);
            return;
        }
    }
}
