// See web_socket_rules.h.
#include "platform/web_socket_rules.h"

#include "base/text.h"

#include <string>

WebSocketPatience g_web_socket_patience;

namespace {

/// The length of the UTF-8 character at the front of `text`; 0 where there is none.
std::size_t character_length(std::string_view text) {
    const auto byte = [text](std::size_t index) {
        return index < text.size() ? static_cast<unsigned char>(text[index]) : 0U;
    };
    const unsigned first = byte(0);
    if (first < 0x80) {
        return 1;
    }
    const std::size_t length = first < 0xC2 ? 0 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
    if (length == 0 || first > 0xF4) {
        return 0;
    }
    for (std::size_t index = 1; index < length; ++index) {
        if ((byte(index) & 0xC0U) != 0x80) {
            return 0;
        }
    }
    const unsigned second = byte(1);
    const bool is_overlong = (first == 0xE0 && second < 0xA0) || (first == 0xF0 && second < 0x90);
    const bool is_surrogate = first == 0xED && second > 0x9F;
    const bool is_beyond = first == 0xF4 && second > 0x8F;
    return is_overlong || is_surrogate || is_beyond ? 0 : length;
}

} // namespace

std::optional<WebUrl> web_socket_url(const WebSocketAddress& address) {
    const std::string name = or_empty(address.host);
    const std::string path = or_empty(address.path);
    const std::string host = name.find(':') == std::string::npos ? name : "[" + name + "]";
    if (!path.starts_with('/')) {
        return std::nullopt;
    }
    auto url = web_url_of(std::string(address.is_secure ? "https://" : "http://") + host + ":" +
                          std::to_string(address.port) + path);
    return url && url->host == host && url->port == address.port ? url : std::nullopt;
}

std::uint16_t web_socket_goodbye(std::uint16_t status) {
    const bool is_common = status >= 1000 && status <= 1003;
    const bool is_reason = status >= 1007 && status <= 1010;
    const bool is_own = status >= 3000 && status <= 4999;
    return is_common || is_reason || is_own ? status : 1000;
}

bool web_socket_is_text(std::string_view text) {
    while (!text.empty()) {
        const std::size_t length = character_length(text);
        if (length == 0) {
            return false;
        }
        text.remove_prefix(length);
    }
    return true;
}
