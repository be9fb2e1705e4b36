// See chat/chat_address.h.
#include "chat/chat_address.h"

#include "base/text.h"

#include <charconv>
#include <string_view>

namespace {

constexpr std::size_t k_authority_max = 319;
constexpr std::size_t k_bracketed_host_max = 255;

/// A number from 1 to 65535 and nothing else, or `otherwise`.
std::uint16_t port_of(std::string_view text, std::uint16_t otherwise) {
    std::uint16_t port = 0;
    const auto [end, fault] = std::from_chars(text.data(), text.data() + text.size(), port);
    const bool is_port = fault == std::errc{} && end == text.data() + text.size() && port != 0;
    return is_port ? port : otherwise;
}

/// Host and port of "[ADDRESS]" or "[ADDRESS]:PORT".
bool take_bracketed(std::string_view authority, ChatAddress& address) {
    const std::size_t end = authority.find(']');
    if (end == std::string_view::npos || end < 2 || end - 1 > k_bracketed_host_max) {
        return false;
    }
    copy_text(address.host, authority.substr(1, end - 1));
    const std::string_view rest = authority.substr(end + 1);
    if (rest.starts_with(':')) {
        address.port = port_of(rest.substr(1), address.port);
    }
    return true;
}

bool take_plain(std::string_view authority, ChatAddress& address) {
    const std::size_t colon = authority.rfind(':');
    if (colon != std::string_view::npos) {
        address.port = port_of(authority.substr(colon + 1), address.port);
    }
    const std::string_view host = authority.substr(0, colon);
    copy_text(address.host, host);
    return !host.empty();
}

} // namespace

bool parse_chat_ws_url(const char* url, ChatAddress& address) {
    constexpr std::string_view k_plain = "ws://";
    constexpr std::string_view k_secure = "wss://";
    std::string_view rest = or_empty(url);
    address.is_secure = rest.starts_with(k_secure);
    if (!address.is_secure && !rest.starts_with(k_plain)) {
        return false;
    }
    address.port = address.is_secure ? 443 : 80;
    rest.remove_prefix(address.is_secure ? k_secure.size() : k_plain.size());

    const std::size_t slash = rest.find('/');
    const std::string_view authority = rest.substr(0, slash);
    if (authority.empty() || authority.size() > k_authority_max) {
        return false;
    }
    copy_text(address.path, slash == std::string_view::npos ? "/" : rest.substr(slash));
    return authority.starts_with('[') ? take_bracketed(authority, address)
                                      : take_plain(authority, address);
}
