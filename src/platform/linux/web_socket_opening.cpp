// See web_socket_opening.h.
#include "platform/linux/web_socket_opening.h"

#include "base/glib_owner.h"
#include "platform/linux/soup_support.h"
#include "platform/linux/web_socket_codes.h"

#include <array>

namespace {

struct ErrorCode {
    GQuark (*domain)();
    int error; ///< -1: any
    std::uint32_t code;
};

// The first that fits.
constexpr std::array<ErrorCode, 9> k_error_codes{{
    {g_resolver_error_quark, -1, k_web_code_name_not_resolved},
    {g_tls_error_quark, -1, k_web_code_secure_failure},
    {g_io_error_quark, G_IO_ERROR_HOST_NOT_FOUND, k_web_code_name_not_resolved},
    {g_io_error_quark, G_IO_ERROR_TIMED_OUT, k_web_code_timeout},
    {g_io_error_quark, G_IO_ERROR_CONNECTION_REFUSED, k_web_code_cannot_connect},
    {g_io_error_quark, G_IO_ERROR_HOST_UNREACHABLE, k_web_code_cannot_connect},
    {g_io_error_quark, G_IO_ERROR_NETWORK_UNREACHABLE, k_web_code_cannot_connect},
    {soup_session_error_quark, SOUP_SESSION_ERROR_PARSING, k_web_code_invalid_response},
    {soup_websocket_error_quark, -1, k_web_code_invalid_response},
}};

} // namespace

std::uint32_t web_socket_error_code(const GError* error) {
    for (const ErrorCode& entry : k_error_codes) {
        if (error->domain == entry.domain() && (entry.error == -1 || entry.error == error->code)) {
            return entry.code;
        }
    }
    return k_web_code_connection_error;
}

void WebSocketOpening::begin(const WebUrl& url) {
    m_session.reset(soup_session_new_with_options("user-agent", k_soup_user_agent, "proxy-resolver",
                                                  nullptr, nullptr));
    m_message.reset(soup_message_new_from_uri("GET", soup_uri_of(url).get()));
    SoupMessage* message = m_message.get();
    g_signal_connect(message, "network-event", G_CALLBACK(on_network_event), this);
    g_signal_connect(message, "wrote-headers", G_CALLBACK(on_sent), this);
    g_signal_connect(message, "got-informational", G_CALLBACK(on_upgrade), this);
    g_signal_connect(message, "got-headers", G_CALLBACK(on_other_answer), this);
    m_stage = "send-request";
    m_is_under_way = true;
    soup_session_websocket_connect_async(m_session.get(), message, nullptr, nullptr,
                                         G_PRIORITY_DEFAULT, m_cancellable.get(), on_end, this);
}

void WebSocketOpening::on_network_event(SoupMessage* /*message*/, GSocketClientEvent event,
                                        GIOStream* stream, WebSocketOpening* self) {
    if (event == G_SOCKET_CLIENT_CONNECTED && G_IS_SOCKET_CONNECTION(stream)) {
        GSocket* socket = g_socket_connection_get_socket(G_SOCKET_CONNECTION(stream));
        self->m_socket.reset(G_SOCKET(g_object_ref(socket)));
    }
}

void WebSocketOpening::on_sent(SoupMessage* /*message*/, WebSocketOpening* self) {
    self->m_stage = "receive-response";
}

void WebSocketOpening::on_upgrade(SoupMessage* message, WebSocketOpening* self) {
    if (soup_message_get_status(message) == SOUP_STATUS_SWITCHING_PROTOCOLS) {
        self->m_stage = "complete-upgrade";
    }
}

// Nothing is followed or asked again, and a body may have no end.
void WebSocketOpening::on_other_answer(SoupMessage* /*message*/, WebSocketOpening* self) {
    self->m_stage = "complete-upgrade";
    self->m_code = k_web_code_invalid_response;
    self->cancel();
}

void WebSocketOpening::on_end(GObject* /*session*/, GAsyncResult* result, void* data) {
    auto* self = static_cast<WebSocketOpening*>(data);
    GErrorSlot error;
    self->m_connection.reset(
        soup_session_websocket_connect_finish(self->m_session.get(), result, error.address()));
    if (error && self->m_code == 0) {
        self->m_code = web_socket_error_code(error.get());
    }
    g_signal_handlers_disconnect_by_data(self->m_message.get(), self);
    self->m_is_under_way = false;
}
