// The web socket on WinHTTP, in its asynchronous mode: what waits, waits for our own condition, and
// a handle is closed when no call uses it. Called by the chat connection through
// platform/web_socket.h.
#include "platform/web_socket.h"

#include "platform/web_socket_rules.h"
#include "platform/windows/web_socket_link.h"
#include "platform/windows/wide_text.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace {

constexpr wchar_t k_user_agent[] = L"VelmoClient/1.0";
constexpr int k_step_ms = 30000;
constexpr DWORD k_keep_alive_ms = 30000;

using Lock = std::unique_lock<std::mutex>;

// The connection and the session stay for as long as the web socket does.
struct Opening {
    std::shared_ptr<WebSocketLink> link = std::make_shared<WebSocketLink>();
    WebSocketClock::time_point end = WebSocketClock::now() + g_web_socket_patience.opening;
    const StopEvent* stop = nullptr;
    InternetHandle session;
    InternetHandle connection;
    InternetHandle request;
    DWORD_PTR request_context = 0; // the request's own
    InternetHandle socket;
};

} // namespace

// Closed from the last to the first.
struct WebSocket {
    std::shared_ptr<WebSocketLink> link;
    InternetHandle session;
    InternetHandle connection;
    InternetHandle socket;
};

void WebSocketDeleter::operator()(WebSocket* socket) const {
    delete socket;
}

namespace {

DWORD open_session(Opening& opening, const WebUrl& /*url*/) {
    opening.session.reset(WinHttpOpen(k_user_agent, WINHTTP_ACCESS_TYPE_NO_PROXY,
                                      WINHTTP_NO_PROXY_NAME, WINHTTP_NO_PROXY_BYPASS,
                                      WINHTTP_FLAG_ASYNC));
    if (!opening.session) {
        return GetLastError();
    }
    // An open connection may be silent for as long as it likes.
    WinHttpSetTimeouts(opening.session.get(), k_step_ms, k_step_ms, k_step_ms, 0);
    // The handles that come of the session inherit it. The flag for all completions leaves out that
    // of a goodbye.
    return WinHttpSetStatusCallback(opening.session.get(), web_socket_callback,
                                    WINHTTP_CALLBACK_FLAG_ALL_NOTIFICATIONS,
                                    0) == WINHTTP_INVALID_STATUS_CALLBACK
               ? GetLastError()
               : 0;
}

DWORD connect_host(Opening& opening, const WebUrl& url) {
    const auto host = wide_of(url.host);
    if (!host) {
        return ERROR_WINHTTP_INVALID_URL;
    }
    opening.connection.reset(WinHttpConnect(opening.session.get(), host->c_str(), url.port, 0));
    return opening.connection ? 0 : GetLastError();
}

DWORD open_request(Opening& opening, const WebUrl& url) {
    const auto target = wide_of(url.target);
    opening.request.reset(WinHttpOpenRequest(
        opening.connection.get(), L"GET", target->c_str(), nullptr, WINHTTP_NO_REFERER,
        WINHTTP_DEFAULT_ACCEPT_TYPES, url.is_secure ? WINHTTP_FLAG_SECURE : 0));
    if (!opening.request) {
        return GetLastError();
    }
    opening.request_context = web_socket_context(opening.link);
    if (WinHttpSetOption(opening.request.get(), WINHTTP_OPTION_CONTEXT_VALUE,
                         &opening.request_context, sizeof opening.request_context) == 0) {
        const DWORD error = GetLastError();
        web_socket_forget_context(opening.request_context);
        return error;
    }
    // The answer is the server's own or none.
    DWORD features = WINHTTP_DISABLE_REDIRECTS | WINHTTP_DISABLE_AUTHENTICATION;
    WinHttpSetOption(opening.request.get(), WINHTTP_OPTION_DISABLE_FEATURE, &features,
                     sizeof features);
    return 0;
}

DWORD set_upgrade(Opening& opening, const WebUrl& /*url*/) {
    return WinHttpSetOption(opening.request.get(), WINHTTP_OPTION_UPGRADE_TO_WEB_SOCKET, nullptr,
                            0) != 0
               ? 0
               : GetLastError();
}

template <typename Call>
DWORD take_step(Opening& opening, Call call) {
    WebSocketLink& link = *opening.link;
    Lock lock(link.lock);
    link.begin(lock, link.opening, [&call] { return call() != 0 ? 0 : GetLastError(); });
    const WebSocketWaited waited = web_socket_wait(lock, link.changed, opening.end, opening.stop,
                                                   [&link] { return !link.opening.is_under_way; });
    return waited == WebSocketWaited::done      ? link.opening.error
           : waited == WebSocketWaited::stopped ? ERROR_WINHTTP_OPERATION_CANCELLED
                                                : ERROR_WINHTTP_TIMEOUT;
}

DWORD send_request(Opening& opening, const WebUrl& /*url*/) {
    return take_step(opening, [&opening] {
        // What is given for a context here takes the place of the one that was set.
        return WinHttpSendRequest(opening.request.get(), WINHTTP_NO_ADDITIONAL_HEADERS, 0,
                                  WINHTTP_NO_REQUEST_DATA, 0, 0, opening.request_context);
    });
}

DWORD receive_response(Opening& opening, const WebUrl& /*url*/) {
    return take_step(opening,
                     [&opening] { return WinHttpReceiveResponse(opening.request.get(), nullptr); });
}

bool is_upgrade(HINTERNET request) {
    DWORD status = 0;
    DWORD size = sizeof status;
    return WinHttpQueryHeaders(request, WINHTTP_QUERY_STATUS_CODE | WINHTTP_QUERY_FLAG_NUMBER,
                               WINHTTP_HEADER_NAME_BY_INDEX, &status, &size,
                               WINHTTP_NO_HEADER_INDEX) != 0 &&
           status == HTTP_STATUS_SWITCH_PROTOCOLS;
}

DWORD complete_upgrade(Opening& opening, const WebUrl& /*url*/) {
    if (!is_upgrade(opening.request.get())) {
        return ERROR_WINHTTP_INVALID_SERVER_RESPONSE;
    }
    const DWORD_PTR context = web_socket_context(opening.link);
    opening.socket.reset(WinHttpWebSocketCompleteUpgrade(opening.request.get(), context));
    if (!opening.socket) {
        const DWORD error = GetLastError();
        web_socket_forget_context(context);
        return error;
    }
    DWORD interval = k_keep_alive_ms; // a system may have its own mind about it
    WinHttpSetOption(opening.socket.get(), WINHTTP_OPTION_WEB_SOCKET_KEEPALIVE_INTERVAL, &interval,
                     sizeof interval);
    opening.request.reset();
    return 0;
}

struct Stage {
    const char* name;
    DWORD (*run)(Opening& opening, const WebUrl& url);
};

constexpr Stage k_stages[] = {
    {"open-session", open_session},         {"connect-host", connect_host},
    {"open-request", open_request},         {"set-upgrade", set_upgrade},
    {"send-request", send_request},         {"receive-response", receive_response},
    {"complete-upgrade", complete_upgrade},
};

WebSocketEvent event_of(WINHTTP_WEB_SOCKET_BUFFER_TYPE type) {
    switch (type) {
    case WINHTTP_WEB_SOCKET_UTF8_MESSAGE_BUFFER_TYPE:
        return WebSocketEvent::text_message;
    case WINHTTP_WEB_SOCKET_UTF8_FRAGMENT_BUFFER_TYPE:
        return WebSocketEvent::text_fragment;
    case WINHTTP_WEB_SOCKET_CLOSE_BUFFER_TYPE:
        return WebSocketEvent::closed;
    case WINHTTP_WEB_SOCKET_BINARY_MESSAGE_BUFFER_TYPE:
    case WINHTTP_WEB_SOCKET_BINARY_FRAGMENT_BUFFER_TYPE:
        break;
    }
    return WebSocketEvent::binary;
}

WebSocketReceived end_of(const WebSocketLink& link) {
    return {link.end_error == 0 ? WebSocketEvent::closed : WebSocketEvent::failed, 0,
            link.end_error};
}

// What has arrived in the link's buffer.
WebSocketReceived taken_from(WebSocketLink& link, std::span<char> buffer) {
    if (link.receiving.error != 0) {
        link.end(link.receiving.error);
        return end_of(link);
    }
    const WebSocketEvent event = event_of(link.receiving.status.eBufferType);
    if (event == WebSocketEvent::closed) {
        link.end(0);
        return end_of(link);
    }
    const bool is_text = event != WebSocketEvent::binary;
    const std::size_t size = is_text ? link.receiving.status.dwBytesTransferred : 0;
    std::copy_n(link.buffer.begin(), std::min(size, buffer.size()), buffer.begin());
    return {event, size, 0};
}

} // namespace

WebSocketPtr web_socket_open(const WebSocketAddress& address, WebSocketFailure& failure,
                             const StopEvent* stop) {
    const auto url = web_socket_url(address);
    if (!url) {
        failure = {"connect-host", ERROR_WINHTTP_INVALID_URL};
        return nullptr;
    }
    Opening opening;
    opening.stop = stop;
    for (const Stage& stage : k_stages) {
        failure = {stage.name, stage.run(opening, *url)};
        if (failure.code != 0) {
            return nullptr;
        }
    }
    return WebSocketPtr(new WebSocket{std::move(opening.link), std::move(opening.session),
                                      std::move(opening.connection), std::move(opening.socket)});
}

bool web_socket_send_text(WebSocket& socket, std::string_view text) {
    if (text.size() > std::numeric_limits<DWORD>::max() || !web_socket_is_text(text)) {
        return false;
    }
    WebSocketLink& link = *socket.link;
    Lock lock(link.lock);
    if (link.is_ended || link.sending.is_under_way) {
        return false;
    }
    link.text = text;
    link.begin(lock, link.sending, [&socket, &link] {
        return WinHttpWebSocketSend(socket.socket.get(),
                                    WINHTTP_WEB_SOCKET_UTF8_MESSAGE_BUFFER_TYPE, link.text.data(),
                                    static_cast<DWORD>(link.text.size()));
    });
    if (!link.wait(lock, link.sending, g_web_socket_patience.sending)) {
        link.end(ERROR_WINHTTP_TIMEOUT);
        link.changed.notify_all();
        return false;
    }
    return !link.is_aborted && link.sending.error == 0;
}

WebSocketReceived web_socket_receive(WebSocket& socket, std::span<char> buffer) {
    if (buffer.empty()) {
        return {WebSocketEvent::failed, 0, ERROR_INVALID_PARAMETER};
    }
    WebSocketLink& link = *socket.link;
    Lock lock(link.lock);
    if (link.is_ended) {
        return end_of(link);
    }
    const auto size = static_cast<DWORD>(std::min(buffer.size(), link.buffer.size()));
    link.begin(lock, link.receiving, [&socket, &link, size] {
        return WinHttpWebSocketReceive(socket.socket.get(), link.buffer.data(), size, &link.count,
                                       &link.type);
    });
    link.changed.wait(lock, [&link] { return link.is_ended || !link.receiving.is_under_way; });
    return link.is_ended ? end_of(link) : taken_from(link, buffer);
}

void web_socket_close(WebSocket& socket, std::uint16_t status) {
    WebSocketLink& link = *socket.link;
    Lock lock(link.lock);
    if (link.is_closed || link.is_aborted) {
        return;
    }
    link.is_closed = true;
    link.is_ended = true;
    link.end_error = ERROR_WINHTTP_OPERATION_CANCELLED;
    link.changed.notify_all();
    link.begin(lock, link.closing, [&socket, status] {
        return WinHttpWebSocketClose(socket.socket.get(), web_socket_goodbye(status), nullptr, 0);
    });
    link.wait(lock, link.closing, g_web_socket_patience.closing);
}

// What is still under way ends with the handle, which the owner closes.
void web_socket_abort(WebSocket& socket) {
    WebSocketLink& link = *socket.link;
    const std::lock_guard lock(link.lock);
    link.is_aborted = true;
    link.is_ended = true;
    link.end_error = ERROR_WINHTTP_OPERATION_CANCELLED;
    link.changed.notify_all();
}
