// The opening of a web socket: connecting and the upgrade, by a libsoup session. Run by the web
// socket's loop, on its thread.
#pragma once

#include "base/gobject_owner.h"
#include "platform/web_socket.h"
#include "platform/web_url.h"

#include <libsoup/soup.h>

#include <atomic>
#include <cstdint>

/// WinHTTP's number for `error`.
std::uint32_t web_socket_error_code(const GError* error);

class WebSocketOpening {
  public:
    WebSocketOpening() = default;
    WebSocketOpening(const WebSocketOpening&) = delete;
    WebSocketOpening& operator=(const WebSocketOpening&) = delete;

    /// On the thread's context; not while it is under way, as the end is not either.
    void begin(const WebUrl& url);

    bool is_under_way() const { return m_is_under_way; }

    /// It goes on until it has noticed.
    void cancel() { g_cancellable_cancel(m_cancellable.get()); }

    /// The web socket, once; null after a failure.
    GObjectPtr<SoupWebsocketConnection> take_connection() { return std::move(m_connection); }

    /// How far it came. Any thread.
    const char* stage() const { return m_stage; }

    /// What went wrong; 0: nothing.
    std::uint32_t code() const { return m_code; }

    /// What it is connected through, if it is.
    GSocket* socket() const { return m_socket.get(); }

  private:
    static void on_network_event(SoupMessage* message, GSocketClientEvent event, GIOStream* stream,
                                 WebSocketOpening* self);
    static void on_sent(SoupMessage* message, WebSocketOpening* self);
    static void on_upgrade(SoupMessage* message, WebSocketOpening* self);
    static void on_other_answer(SoupMessage* message, WebSocketOpening* self);
    static void on_end(GObject* session, GAsyncResult* result, void* data);

    GObjectPtr<GCancellable> m_cancellable{g_cancellable_new()};
    GObjectPtr<SoupSession> m_session;
    GObjectPtr<SoupMessage> m_message;
    GObjectPtr<GSocket> m_socket;
    GObjectPtr<SoupWebsocketConnection> m_connection;
    std::atomic<const char*> m_stage{"open-session"};
    std::uint32_t m_code = 0;
    bool m_is_under_way = false;
};
