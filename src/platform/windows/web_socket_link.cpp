// See web_socket_link.h.
#include "platform/windows/web_socket_link.h"

namespace {

using Holder = std::shared_ptr<WebSocketLink>;

Holder* holder_of(DWORD_PTR context) {
    return reinterpret_cast<Holder*>(context);
}

void finish(WebSocketLink& link, WebSocketOperation& operation, DWORD error,
            WINHTTP_WEB_SOCKET_STATUS status = {}) {
    const std::lock_guard lock(link.lock);
    operation = {false, error, status};
    link.changed.notify_all();
}

// The requests' results begin like those of web sockets, which say which operation it was.
void fail(WebSocketLink& link, const void* info, DWORD size) {
    const DWORD error = static_cast<const WINHTTP_ASYNC_RESULT*>(info)->dwError;
    if (size < sizeof(WINHTTP_WEB_SOCKET_ASYNC_RESULT)) {
        finish(link, link.opening, error);
        return;
    }
    switch (static_cast<const WINHTTP_WEB_SOCKET_ASYNC_RESULT*>(info)->Operation) {
    case WINHTTP_WEB_SOCKET_SEND_OPERATION:
        finish(link, link.sending, error);
        break;
    case WINHTTP_WEB_SOCKET_RECEIVE_OPERATION:
        finish(link, link.receiving, error);
        break;
    case WINHTTP_WEB_SOCKET_CLOSE_OPERATION:
    case WINHTTP_WEB_SOCKET_SHUTDOWN_OPERATION:
        finish(link, link.closing, error);
        break;
    }
}

} // namespace

void WebSocketLink::end(DWORD error) {
    if (!is_ended) {
        is_ended = true;
        end_error = error;
    }
}

bool WebSocketLink::wait(std::unique_lock<std::mutex>& held, const WebSocketOperation& operation,
                         std::chrono::milliseconds most) {
    changed.wait_for(held, most,
                     [this, &operation] { return !operation.is_under_way || is_aborted; });
    return !operation.is_under_way;
}

DWORD_PTR web_socket_context(const Holder& link) {
    return reinterpret_cast<DWORD_PTR>(new Holder(link));
}

void web_socket_forget_context(DWORD_PTR context) {
    delete holder_of(context);
}

void CALLBACK web_socket_callback(HINTERNET /*handle*/, DWORD_PTR context, DWORD status, void* info,
                                  DWORD size) {
    if (context == 0) { // a session or a connection
        return;
    }
    WebSocketLink& link = **holder_of(context);
    switch (status) {
    case WINHTTP_CALLBACK_STATUS_SENDREQUEST_COMPLETE:
    case WINHTTP_CALLBACK_STATUS_HEADERS_AVAILABLE:
        finish(link, link.opening, 0);
        break;
    case WINHTTP_CALLBACK_STATUS_WRITE_COMPLETE:
        finish(link, link.sending, 0);
        break;
    case WINHTTP_CALLBACK_STATUS_READ_COMPLETE:
        finish(link, link.receiving, 0, *static_cast<const WINHTTP_WEB_SOCKET_STATUS*>(info));
        break;
    case WINHTTP_CALLBACK_STATUS_CLOSE_COMPLETE:
        finish(link, link.closing, 0);
        break;
    case WINHTTP_CALLBACK_STATUS_REQUEST_ERROR:
        fail(link, info, size);
        break;
    case WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING: // the last that is heard of it
        web_socket_forget_context(context);
        break;
    default:
        break;
    }
}
