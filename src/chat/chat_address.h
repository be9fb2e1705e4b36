// The chat channel's address taken apart. Called by the chat connection.
#pragma once

#include <cstdint>

struct ChatAddress {
    bool is_secure;
    char host[320]; ///< an IPv6 address without its brackets
    std::uint16_t port;
    char path[512]; ///< begins with a slash; a longer one is cut
};

/// Takes "ws://" and "wss://" addresses apart. False, with `address` in no particular state, for
/// any other scheme, a missing host, an authority of more than 319 bytes or a bracket that nothing
/// closes. A port that is none is ignored. Any thread.
bool parse_chat_ws_url(const char* url, ChatAddress& address);
