// The thread that a web socket lives on: libsoup's is bound to one context, which only its own
// thread runs. Started and asked by platform/web_socket.h's functions.
#pragma once

#include "base/gobject_owner.h"
#include "platform/linux/soup_support.h"
#include "platform/linux/web_socket_inbox.h"
#include "platform/linux/web_socket_opening.h"
#include "platform/linux/web_socket_stream.h"
#include "platform/web_socket.h"
#include "platform/web_url.h"

#include <libsoup/soup.h>

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>

enum class WebSocketSending {
    nothing,
    asked, ///< the loop takes the text once the system has room for it
    taken,
    refused
};

/// What a loop and its callers tell each other; guarded by `lock`, told by `changed`.
struct WebSocketShared {
    std::mutex lock;
    std::condition_variable changed;

    // Said by the callers.
    bool is_left = false;      ///< end at once, without a word
    bool is_aborted = false;   ///< drop the connection, without a word
    std::uint16_t goodbye = 0; ///< close with this status; 0: not yet
    std::string text;          ///< to be sent
    WebSocketSending sending = WebSocketSending::nothing;

    // Said by the loop.
    bool is_opening = true;
    bool is_opened = false; ///< the opening came to its end
    bool is_over = false;   ///< nothing is left of the connection
    std::uint32_t opening_code = 0;
    WebSocketInbox inbox;
};

class WebSocketLoop {
  public:
    /// Waits on `context`, which is woken after each word to the loop.
    WebSocketLoop(WebSocketShared& shared, GMainContext* context, const WebUrl& url)
        : m_shared(shared), m_context(context), m_url(url) {}
    WebSocketLoop(const WebSocketLoop&) = delete;
    WebSocketLoop& operator=(const WebSocketLoop&) = delete;

    /// Until it is left.
    void run();

    /// How far the opening has come. Any thread.
    const char* stage() const { return m_opening.stage(); }

  private:
    using Lock = std::unique_lock<std::mutex>;

    static void on_message(SoupWebsocketConnection* connection, int type, GBytes* bytes,
                           WebSocketLoop* self);
    static void on_error(SoupWebsocketConnection* connection, GError* error, WebSocketLoop* self);
    static void on_closing(SoupWebsocketConnection* connection, WebSocketLoop* self);
    static void on_closed(SoupWebsocketConnection* connection, WebSocketLoop* self);

    bool pass();
    void finish_opening();
    bool adopt(GObjectPtr<SoupWebsocketConnection> connection);
    void follow_intake(bool is_full);
    void listen_to_callers(Lock& lock);
    void say_goodbye(Lock& lock);
    void send(Lock& lock);
    void wake_when_writable();
    bool is_talking() const;
    void end(WebSocketEvent event, std::uint32_t code);
    void drop();
    void leave();
    bool is_settled() const;

    WebSocketShared& m_shared;
    GMainContext* m_context;
    WebUrl m_url;
    WebSocketOpening m_opening;
    WebSocketIntake m_intake;
    GObjectPtr<SoupWebsocketConnection> m_opened;     ///< of the opening; silent
    GObjectPtr<SoupWebsocketConnection> m_connection; ///< the one in its place
    GPollableOutputStream* m_output = nullptr;        ///< theirs
    bool m_is_broken = false;                         ///< to be dropped
    bool m_is_dropped = false;                        ///< nothing more comes and goes
    bool m_is_goodbye_said = false;
    bool m_is_watched = false; ///< a source waits for room in the system
};
