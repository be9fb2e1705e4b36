// See web_socket_rules.h.
#include "platform/web_socket_rules.h"

#include "base/text.h"
#include "base/utf8.h"

#include <string>

WebSocketPatience g_web_socket_patience;

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
    return is_utf8(text);
}
