// See web_url.h.
#include "platform/web_url.h"

#include "base/ascii.h"

#include <algorithm>
#include <charconv>

namespace {

constexpr std::size_t k_max_host_units = 255;

bool is_control(char c) {
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
}

bool is_ascii(char c) {
    return static_cast<unsigned char>(c) < 0x80;
}

bool is_hex_digit(char c) {
    return is_ascii_digit(c) || (ascii_lower(c) >= 'a' && ascii_lower(c) <= 'f');
}

bool is_host_character(char c) {
    return !is_ascii(c) || is_ascii_letter(c) || is_ascii_digit(c) || c == '-' || c == '.' ||
           c == '_';
}

bool is_address_character(char c) {
    return is_hex_digit(c) || c == ':' || c == '.';
}

// Takes `prefix`, given in lower case, off the front of `text`.
bool take_prefix(std::string_view& text, std::string_view prefix) {
    if (!ascii_begins_with(text, prefix)) {
        return false;
    }
    text.remove_prefix(prefix.size());
    return true;
}

std::size_t utf16_units(std::string_view text) {
    std::size_t units = 0;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        const bool is_continued = byte >= 0x80 && byte < 0xC0;
        units += is_continued ? 0 : byte >= 0xF0 ? 2 : 1;
    }
    return units;
}

// Takes the host off the front of `authority`; empty when there is none.
std::string_view take_host(std::string_view& authority) {
    const bool is_bracketed = authority.starts_with('[');
    const auto end = is_bracketed
                         ? std::find(authority.begin(), authority.end(), ']')
                         : std::find_if_not(authority.begin(), authority.end(), is_host_character);
    if (is_bracketed && (end == authority.end() || end == authority.begin() + 1 ||
                         !std::all_of(authority.begin() + 1, end, is_address_character))) {
        return {};
    }
    const auto length = static_cast<std::size_t>(end - authority.begin()) + (is_bracketed ? 1 : 0);
    const std::string_view host = authority.substr(0, length);
    authority.remove_prefix(length);
    return host;
}

// `text` is what follows the host: nothing, or a colon and a number or nothing.
std::optional<std::uint16_t> port_of(std::string_view text, std::uint16_t usual) {
    if (text.empty() || text == ":") {
        return usual;
    }
    std::uint16_t port = 0;
    const char* end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data() + 1, end, port);
    if (text.front() != ':' || error != std::errc() || rest != end || port == 0) {
        return std::nullopt;
    }
    return port;
}

std::string target_of(std::string_view text) {
    constexpr std::string_view k_digits = "0123456789ABCDEF";
    constexpr std::string_view k_escaped = " \"<>[\\]^`{|}";
    std::string target = text.empty() || text.front() != '/' ? "/" : "";
    for (const char c : text) {
        if (is_ascii(c) && k_escaped.find(c) == std::string_view::npos) {
            target += c;
        } else {
            const auto byte = static_cast<unsigned char>(c);
            target += '%';
            target += k_digits[byte >> 4U];
            target += k_digits[byte & 15U];
        }
    }
    return target;
}

} // namespace

std::optional<WebUrl> web_url_of(std::string_view text) {
    if (std::any_of(text.begin(), text.end(), is_control)) {
        return std::nullopt;
    }
    const bool is_secure = take_prefix(text, "https://");
    if (!is_secure && !take_prefix(text, "http://")) {
        return std::nullopt;
    }
    std::string_view authority = text.substr(0, text.find_first_of("/?#"));
    text.remove_prefix(authority.size());
    authority.remove_prefix(authority.rfind('@') + 1); // none: npos + 1 is 0
    const std::string_view host = take_host(authority);
    const auto port = port_of(authority, is_secure ? 443 : 80);
    if (host.empty() || utf16_units(host) > k_max_host_units || !port) {
        return std::nullopt;
    }
    return WebUrl{is_secure, std::string(host), *port, target_of(text.substr(0, text.find('#')))};
}

std::string web_url_text(const WebUrl& url) {
    return std::string(url.is_secure ? "https://" : "http://") + url.host + ":" +
           std::to_string(url.port) + url.target;
}
