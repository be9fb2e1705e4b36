// See web_socket_loop.h.
#include "platform/linux/web_socket_loop.h"

#include "platform/linux/web_socket_codes.h"

#include <utility>

namespace {

constexpr std::size_t k_pass_intake = 64U << 10U; ///< bytes read between two words of the callers
constexpr guint k_keep_alive_seconds = 30;

bool is_closed(const GObjectPtr<SoupWebsocketConnection>& connection) {
    return connection == nullptr ||
           soup_websocket_connection_get_state(connection.get()) == SOUP_WEBSOCKET_STATE_CLOSED;
}

} // namespace

void WebSocketLoop::run() {
    const WithinContext within(m_context);
    m_opening.begin(m_url);
    while (pass()) {
        g_main_context_iteration(m_context, TRUE);
    }
    leave();
}

// All that is to be done before the context goes on. False at the end.
bool WebSocketLoop::pass() {
    if (!m_opening.is_under_way() && m_connection == nullptr && !m_is_dropped) {
        finish_opening();
    }
    Lock lock(m_shared.lock);
    follow_intake(m_shared.inbox.is_full());
    listen_to_callers(lock);
    if (m_is_broken && !m_is_dropped) {
        lock.unlock();
        drop();
        lock.lock();
        m_shared.is_over = true;
        m_shared.changed.notify_all();
        listen_to_callers(lock);
    }
    return !m_shared.is_left;
}

void WebSocketLoop::finish_opening() {
    GObjectPtr<SoupWebsocketConnection> opened = m_opening.take_connection();
    std::uint32_t code = m_opening.code();
    if (opened == nullptr) {
        code = code != 0 ? code : k_web_code_connection_error;
    } else if (!adopt(std::move(opened))) {
        code = k_web_code_internal;
    }
    m_is_dropped = m_connection == nullptr;
    const std::lock_guard lock(m_shared.lock);
    m_shared.is_opening = false;
    m_shared.is_opened = !m_is_dropped;
    m_shared.opening_code = code;
    m_shared.changed.notify_all();
}

// Puts a web socket on our own stream in the place of the one that the session made, which has read
// nothing yet: that happens in the context's next iteration, by a source whose data is the web
// socket. False for a libsoup that waits in another way.
bool WebSocketLoop::adopt(GObjectPtr<SoupWebsocketConnection> connection) {
    m_opened = std::move(connection);
    GSource* reading = g_main_context_find_source_by_user_data(m_context, m_opened.get());
    if (reading == nullptr) {
        return false;
    }
    g_source_destroy(reading);
    const GObjectPtr<GIOStream> stream =
        web_socket_stream(soup_websocket_connection_get_io_stream(m_opened.get()), m_intake);
    m_connection.reset(soup_websocket_connection_new(stream.get(), soup_uri_of(m_url).get(),
                                                     SOUP_WEBSOCKET_CONNECTION_CLIENT, nullptr,
                                                     nullptr, nullptr));
    m_output = G_POLLABLE_OUTPUT_STREAM(g_io_stream_get_output_stream(stream.get()));
    SoupWebsocketConnection* socket = m_connection.get();
    soup_websocket_connection_set_max_incoming_payload_size(socket, k_web_socket_most_payload);
    soup_websocket_connection_set_keepalive_interval(socket, k_keep_alive_seconds);
    g_signal_connect(socket, "message", G_CALLBACK(on_message), this);
    g_signal_connect(socket, "error", G_CALLBACK(on_error), this);
    g_signal_connect(socket, "closing", G_CALLBACK(on_closing), this);
    g_signal_connect(socket, "closed", G_CALLBACK(on_closed), this);
    return true;
}

// While nobody takes what has come, nothing more is read: the peer has to wait. All else goes on.
void WebSocketLoop::follow_intake(bool is_full) {
    if (m_connection == nullptr || m_is_dropped) {
        return;
    }
    if (g_pollable_output_stream_is_writable(m_output)) {
        m_intake.pings = 0;
    }
    web_socket_allow(m_intake, is_full ? 0 : k_pass_intake);
    // Whom this side has told goodbye has answered.
    if (m_is_goodbye_said && soup_websocket_connection_get_close_code(m_connection.get()) != 0) {
        m_is_broken = true;
    }
}

void WebSocketLoop::listen_to_callers(Lock& lock) {
    if (m_opening.is_under_way()) {
        return;
    }
    m_is_broken = m_is_broken || m_shared.is_aborted;
    if (m_shared.sending == WebSocketSending::asked) {
        send(lock);
    }
    if (m_shared.goodbye != 0 && !m_is_goodbye_said) {
        say_goodbye(lock);
    }
}

bool WebSocketLoop::is_talking() const {
    return m_connection != nullptr && !m_is_dropped && !m_is_broken &&
           soup_websocket_connection_get_state(m_connection.get()) == SOUP_WEBSOCKET_STATE_OPEN;
}

void WebSocketLoop::say_goodbye(Lock& lock) {
    m_is_goodbye_said = true;
    if (!is_talking()) {
        m_is_broken = true;
        return;
    }
    const std::uint16_t status = m_shared.goodbye;
    lock.unlock();
    soup_websocket_connection_close(m_connection.get(), status, nullptr);
    lock.lock();
}

// libsoup would keep any number of texts that the system has no room for.
void WebSocketLoop::send(Lock& lock) {
    if (!is_talking()) {
        m_shared.sending = WebSocketSending::refused;
        m_shared.changed.notify_all();
        return;
    }
    if (!g_pollable_output_stream_is_writable(m_output)) {
        wake_when_writable();
        return;
    }
    const std::string text = std::exchange(m_shared.text, {});
    lock.unlock();
    GBytes* bytes = g_bytes_new_static(text.data(), text.size());
    soup_websocket_connection_send_message(m_connection.get(), SOUP_WEBSOCKET_DATA_TEXT, bytes);
    g_bytes_unref(bytes);
    lock.lock();
    if (m_shared.sending == WebSocketSending::asked) {
        m_shared.sending = is_talking() ? WebSocketSending::taken : WebSocketSending::refused;
        m_shared.changed.notify_all();
    }
}

// Any source that is ready ends an iteration, and so begins a pass.
void WebSocketLoop::wake_when_writable() {
    if (m_is_watched) {
        return;
    }
    m_is_watched = true;
    GSource* source = g_pollable_output_stream_create_source(m_output, nullptr);
    const auto on_writable = +[](GObject* /*stream*/, void* data) -> gboolean {
        static_cast<WebSocketLoop*>(data)->m_is_watched = false;
        return G_SOURCE_REMOVE;
    };
    g_source_set_callback(source, G_SOURCE_FUNC(on_writable), this, nullptr);
    g_source_attach(source, m_context);
    g_source_unref(source);
}

void WebSocketLoop::end(WebSocketEvent event, std::uint32_t code) {
    const std::lock_guard lock(m_shared.lock);
    m_shared.inbox.end(event, code);
    m_shared.changed.notify_all();
}

void WebSocketLoop::on_message(SoupWebsocketConnection* /*connection*/, int type, GBytes* bytes,
                               WebSocketLoop* self) {
    self->m_intake.in_message = 0;
    gsize size = 0;
    const auto* data = static_cast<const char*>(g_bytes_get_data(bytes, &size));
    const std::lock_guard lock(self->m_shared.lock);
    if (type == SOUP_WEBSOCKET_DATA_TEXT) {
        self->m_shared.inbox.add_text(std::string(data, size));
    } else {
        self->m_shared.inbox.add_binary();
    }
    self->m_shared.changed.notify_all();
}

void WebSocketLoop::on_error(SoupWebsocketConnection* /*connection*/, GError* error,
                             WebSocketLoop* self) {
    self->m_is_broken = true;
    self->end(WebSocketEvent::failed, web_socket_error_code(error));
}

// Said by the peer: after this side's goodbye there is an end already.
void WebSocketLoop::on_closing(SoupWebsocketConnection* /*connection*/, WebSocketLoop* self) {
    self->end(WebSocketEvent::closed, 0);
}

void WebSocketLoop::on_closed(SoupWebsocketConnection* /*connection*/, WebSocketLoop* self) {
    self->m_is_broken = true;
    self->end(WebSocketEvent::failed, k_web_code_connection_error);
}

// The socket first: a protected stream would wait for the peer to take its last words.
void WebSocketLoop::drop() {
    m_is_dropped = true;
    if (m_opening.socket() != nullptr) {
        g_socket_shutdown(m_opening.socket(), TRUE, TRUE, nullptr);
    }
    for (const auto* connection : {&m_connection, &m_opened}) {
        if (*connection != nullptr) {
            g_object_run_dispose(G_OBJECT(connection->get()));
        }
    }
}

bool WebSocketLoop::is_settled() const {
    return is_closed(m_connection) && is_closed(m_opened);
}

void WebSocketLoop::leave() {
    m_opening.cancel();
    while (m_opening.is_under_way()) {
        g_main_context_iteration(m_context, TRUE);
    }
    if (m_opened == nullptr) {
        m_opened = m_opening.take_connection();
    }
    drop();
    while (!is_settled()) {
        g_main_context_iteration(m_context, TRUE);
    }
    m_connection.reset();
    m_opened.reset();
    while (g_main_context_iteration(m_context, FALSE)) {
    }
}
