// The web socket on libsoup, by a thread of its own for each. Called by the chat connection through
// platform/web_socket.h.
#include "platform/web_socket.h"

#include "platform/linux/soup_support.h"
#include "platform/linux/web_socket_codes.h"
#include "platform/linux/web_socket_loop.h"
#include "platform/web_socket_rules.h"

#include <system_error>
#include <thread>
#include <utility>

struct WebSocket {
    explicit WebSocket(const WebUrl& url) : loop(shared, context.get(), url) {}
    WebSocket(const WebSocket&) = delete;
    WebSocket& operator=(const WebSocket&) = delete;
    ~WebSocket();

    /// After each word to the loop.
    void wake() {
        shared.changed.notify_all();
        g_main_context_wakeup(context.get());
    }

    MainContextPtr context{g_main_context_new()};
    WebSocketShared shared;
    WebSocketLoop loop;
    std::thread thread;
};

WebSocket::~WebSocket() {
    if (!thread.joinable()) {
        return;
    }
    {
        const std::lock_guard lock(shared.lock);
        shared.is_left = true;
    }
    wake();
    thread.join();
}

namespace {

bool start(WebSocket& socket) {
    try {
        socket.thread = std::thread([&socket] { socket.loop.run(); });
    } catch (const std::system_error&) {
        return false;
    }
    return true;
}

bool wait_for_opening(WebSocket& socket, const StopEvent* stop, WebSocketFailure& failure) {
    std::unique_lock lock(socket.shared.lock);
    const WebSocketWaited waited = web_socket_wait(
        lock, socket.shared.changed, WebSocketClock::now() + g_web_socket_patience.opening, stop,
        [&socket] { return !socket.shared.is_opening; });
    failure.stage = socket.loop.stage();
    failure.code = waited == WebSocketWaited::done      ? socket.shared.opening_code
                   : waited == WebSocketWaited::stopped ? k_web_code_cancelled
                                                        : k_web_code_timeout;
    return waited == WebSocketWaited::done && socket.shared.is_opened;
}

} // namespace

void WebSocketDeleter::operator()(WebSocket* socket) const {
    delete socket;
}

WebSocketPtr web_socket_open(const WebSocketAddress& address, WebSocketFailure& failure,
                             const StopEvent* stop) {
    const auto url = web_socket_url(address);
    if (!url) {
        failure = {"connect-host", k_web_code_invalid_address};
        return nullptr;
    }
    WebSocketPtr socket(new WebSocket(*url));
    if (!start(*socket)) {
        failure = {"open-session", k_web_code_no_memory};
        return nullptr;
    }
    return wait_for_opening(*socket, stop, failure) ? std::move(socket) : nullptr;
}

bool web_socket_send_text(WebSocket& socket, std::string_view text) {
    if (!web_socket_is_text(text)) {
        return false;
    }
    WebSocketShared& shared = socket.shared;
    std::unique_lock lock(shared.lock);
    if (shared.inbox.is_ended()) {
        return false;
    }
    shared.text = text;
    shared.sending = WebSocketSending::asked;
    socket.wake();
    const bool is_answered =
        shared.changed.wait_for(lock, g_web_socket_patience.sending,
                                [&shared] { return shared.sending != WebSocketSending::asked; });
    if (!is_answered) {
        shared.inbox.end(WebSocketEvent::failed, k_web_code_timeout);
        shared.changed.notify_all();
    }
    return std::exchange(shared.sending, WebSocketSending::nothing) == WebSocketSending::taken;
}

WebSocketReceived web_socket_receive(WebSocket& socket, std::span<char> buffer) {
    if (buffer.empty()) {
        return {WebSocketEvent::failed, 0, k_web_code_invalid_argument};
    }
    WebSocketShared& shared = socket.shared;
    std::unique_lock lock(shared.lock);
    shared.changed.wait(lock, [&shared] { return !shared.inbox.is_empty(); });
    const bool was_full = shared.inbox.is_full();
    const WebSocketReceived received = shared.inbox.take(buffer);
    if (was_full && !shared.inbox.is_full()) {
        socket.wake();
    }
    return received;
}

void web_socket_close(WebSocket& socket, std::uint16_t status) {
    WebSocketShared& shared = socket.shared;
    std::unique_lock lock(shared.lock);
    if (shared.goodbye != 0) {
        return;
    }
    shared.goodbye = web_socket_goodbye(status);
    shared.inbox.abandon(k_web_code_cancelled);
    socket.wake();
    shared.changed.wait_for(lock, g_web_socket_patience.closing,
                            [&shared] { return shared.is_over; });
}

void web_socket_abort(WebSocket& socket) {
    const std::lock_guard lock(socket.shared.lock);
    socket.shared.is_aborted = true;
    socket.shared.inbox.abandon(k_web_code_cancelled);
    socket.wake();
}
