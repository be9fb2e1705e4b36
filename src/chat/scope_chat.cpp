// See chat/scope_chat.h.
#include "chat/scope_chat.h"

#include "backend/backend_call.h"
#include "backend/identity.h"
#include "base/text.h"
#include "chat/chat_frame_internal.h"
#include "chat/chat_messages.h"
#include "chat/hub_click_log.h"

#include <initializer_list>
#include <string_view>

namespace {

constexpr const char* k_unknown_scope = "scope inválido para chat";

/// A page of history; the three differ in their address.
constexpr BackendCall page_from(const char* address) {
    return {
        .method = CallMethod::get,
        .address = address,
        .address_size = 1024,
        .older_address = nullptr,
        .body = {},
        .body_size = 0,
        .answer_size = 65536,
        .success = {200},
        .unreachable = "No se pudo consultar chat en backend",
        .refused = "Consulta de chat falló",
    };
}

constexpr BackendCall k_newest_room_page =
    page_from("%s/api/chats/room/%s?sessionToken=%s&limit=100");
constexpr BackendCall k_older_room_page =
    page_from("%s/api/chats/room/%s?sessionToken=%s&limit=100&before=%s");
constexpr BackendCall k_space_page = page_from("%s/api/chats/space/%s?sessionToken=%s");

constexpr BackendCall k_room_message{
    .method = CallMethod::post,
    .address = "%s/api/chats/room/%s/messages",
    .address_size = 1024,
    .older_address = nullptr,
    .body = {},
    .body_size = 2048,
    .answer_size = 32768,
    .success = {200, 201},
    .unreachable = "No se pudo enviar mensaje por socket",
    .refused = "No se pudo enviar por socket ni por fallback HTTP",
    .status_alone_counts = true,
};

static_assert(fit_shared_buffers({k_newest_room_page, k_older_room_page, k_space_page,
                                  k_room_message}));

ChatHistoryApplier g_history_applier = nullptr;

bool is_room(const char* scope_type) {
    return std::string_view(or_empty(scope_type)) == "room";
}

bool is_space(const char* scope_type) {
    return std::string_view(or_empty(scope_type)) == "space";
}

const char* load_page(const char* scope_type, const char* scope_id, const char* before,
                      std::span<char> error) {
    if (is_space(scope_type)) {
        return perform_call(k_space_page, {scope_id, g_session_token}, {}, error);
    }
    if (is_empty(before)) {
        return perform_call(k_newest_room_page, {scope_id, g_session_token}, {}, error);
    }
    return perform_call(k_older_room_page, {scope_id, g_session_token, before}, {}, error);
}

bool post_room_message(const char* room_id, const char* text, std::span<char> error) {
    char token[k_escaped_token_size] = "";
    char escaped[k_escaped_text_size] = "";
    escape_chat_value(g_session_token, token);
    escape_chat_value(text, escaped);
    char body[k_room_message.body_size];
    static_assert(sizeof R"({"sessionToken":"","text":""})" + sizeof token + sizeof escaped <=
                  sizeof body);
    format_text(body, "{\"sessionToken\":\"%s\",\"text\":\"%s\"}", token, escaped);
    return perform_call_with_body(k_room_message, {room_id}, body, error) != nullptr;
}

} // namespace

void Chat_SetHistoryApplier(ChatHistoryApplier applier) {
    g_history_applier = applier;
}

bool backend_load_scope_chat_page(const char* scope_type, const char* scope_id, const char* title,
                                  const char* before, bool prepend, bool set_title,
                                  std::span<char> error) {
    if (is_empty(scope_id) || (!is_room(scope_type) && !is_space(scope_type))) {
        copy_text(error, k_unknown_scope);
        return false;
    }
    const char* const answer = load_page(scope_type, scope_id, before, error);
    return answer != nullptr && g_history_applier != nullptr &&
           g_history_applier(answer, prepend, set_title, title);
}

bool backend_load_scope_chat(const char* scope_type, const char* scope_id, const char* title,
                             std::span<char> error) {
    return backend_load_scope_chat_page(scope_type, scope_id, title, nullptr, false, true, error);
}

bool backend_send_scope_chat_message(const char* scope_type, const char* scope_id, const char* text,
                                     std::span<char> error) {
    if (is_empty(scope_type) || is_empty(scope_id) || is_empty(text)) {
        copy_text(error, "Debes seleccionar un chat");
        return false;
    }
    if (is_space(scope_type)) {
        if (!chat_ws_send_space_message(scope_id, text)) {
            copy_text(error, "No se pudo enviar mensaje por socket de chat");
            return false;
        }
        return true;
    }
    if (!is_room(scope_type)) {
        copy_text(error, k_unknown_scope);
        return false;
    }
    if (chat_ws_send_room_message(scope_id, text)) {
        return true;
    }
    if (!post_room_message(scope_id, text, error)) {
        return false;
    }
    append_hub_click_log("[HUB][CHAT] websocket send failed, delivered via HTTP fallback");
    return true;
}
