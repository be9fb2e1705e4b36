// Seam: one web socket. WinHTTP on Windows, libsoup on Linux. Called by the chat connection.
#pragma once

#include "base/stop_event.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

/// Where a connection leads; read during the opening only.
struct WebSocketAddress {
    const char* host; ///< name or address, UTF-8, an IPv6 address without brackets
    std::uint16_t port;
    const char* path; ///< begins with a slash
    bool is_secure;   ///< over TLS, with a certificate that the system trusts
};

/// How far an opening came, and the system's code for what went wrong: WinHTTP's numbers on both
/// systems where there is one, such as 12029 for a refused connection.
struct WebSocketFailure {
    const char* stage; ///< "open-session", "connect-host", "open-request", "set-upgrade",
                       ///< "send-request", "receive-response" or "complete-upgrade"; lives for ever
    std::uint32_t code;
};

struct WebSocket;

struct WebSocketDeleter {
    void operator()(WebSocket* socket) const;
};

/// Owns an open connection; its end closes it without a word. No call may be under way then.
using WebSocketPtr = std::unique_ptr<WebSocket, WebSocketDeleter>;

/// Connects and upgrades, waiting for the answer; no proxy, no redirect, and the agent
/// "VelmoClient/1.0". Null with `failure` filled when that fails, takes longer than 30 s, or
/// `stop`, if there is one, is set meanwhile, which is seen within 20 ms or so. Any thread.
WebSocketPtr web_socket_open(const WebSocketAddress& address, WebSocketFailure& failure,
                             const StopEvent* stop = nullptr);

/// Sends one text message. Returns true once the system took it; false for what is not UTF-8, which
/// changes nothing, and when the connection has ended, as it does when the system takes nothing for
/// 10 s because the peer reads nothing. Any thread, also while another receives; one sender at a
/// time, and not beside web_socket_close.
bool web_socket_send_text(WebSocket& socket, std::string_view text);

enum class WebSocketEvent {
    text_fragment, ///< more of this message follows
    text_message,  ///< the whole of a message, or its last part
    binary,        ///< part of a binary message, whose bytes are nobody's
    closed,        ///< the peer closed
    failed,        ///< the connection broke, or this side closed it
};

struct WebSocketReceived {
    WebSocketEvent event;
    std::size_t size;   ///< bytes in the buffer, for a text; else 0
    std::uint32_t code; ///< the system's, for a failure; else 0
};

/// Waits for the next part of a message, `buffer.size()` bytes at most; a part may end within a
/// character. Pings are answered meanwhile; while nobody receives, the peer is kept waiting. After
/// the end it says the same again. An empty buffer is a failure of this call alone. One thread.
WebSocketReceived web_socket_receive(WebSocket& socket, std::span<char> buffer);

/// Says goodbye with `status` (1000: a normal end, also in place of what no client may send) and
/// ends a receive that waits in another thread, at once; what was not received yet is lost. Returns
/// after 1 s at most, also when the peer does not answer. A second one does nothing. Any thread.
void web_socket_close(WebSocket& socket, std::uint16_t status);

/// Ends the connection without a word and returns at once, whatever the peer does: a send, a
/// receive and a close that are under way in other threads return, the first two with a failure, as
/// do all that follow; a close then does nothing. The peer sees it at once, or when the owner lets
/// go. Any thread, beside any other call.
void web_socket_abort(WebSocket& socket);
