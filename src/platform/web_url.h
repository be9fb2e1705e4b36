// What both halves of the web seam share: taking an address apart so that the same bytes go out on
// both systems, whatever each makes of odd ones.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

struct WebUrl {
    bool is_secure;
    std::string host; ///< UTF-8; an IPv6 address in brackets
    std::uint16_t port;
    /// Path and query as they go out: begins with a slash, printable ASCII without blanks.
    std::string target;
};

/// Empty for what is not understood: another scheme than http and https, no host, one of more than
/// 255 UTF-16 units or with characters that no host has, a port that is none, control characters
/// anywhere. User name, password and fragment are left out; they are nobody's but the user's.
std::optional<WebUrl> web_url_of(std::string_view text);

/// The address as text again, always with its port.
std::string web_url_text(const WebUrl& url);
