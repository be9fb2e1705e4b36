// What both halves of the web socket seam share: how long they wait, and what goes out.
#pragma once

#include "platform/web_socket.h"
#include "platform/web_url.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string_view>

/// How long a caller is kept at most. Changed by tests, which wait less, while nothing is open.
struct WebSocketPatience {
    std::chrono::milliseconds opening{30000};
    std::chrono::milliseconds sending{10000};
    std::chrono::milliseconds closing{1000};
};
extern WebSocketPatience g_web_socket_patience;

/// The address as it goes out, or empty for one that no request can be made of: text in the host or
/// the path would otherwise be taken for something else.
std::optional<WebUrl> web_socket_url(const WebSocketAddress& address);

/// `status`, or 1000 in place of one that no client may send.
std::uint16_t web_socket_goodbye(std::uint16_t status);

/// True for UTF-8, in which a NUL is a character like any other; nothing else is sent.
bool web_socket_is_text(std::string_view text);
