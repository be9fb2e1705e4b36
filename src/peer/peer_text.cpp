// See peer/peer_text.h.
#include "peer/peer_text.h"

#include <algorithm>
#include <cstddef>

namespace {

constexpr std::size_t k_name_bytes_max = 63;

struct Character {
    char32_t code = 0;
    std::size_t bytes = 0; ///< 0: the text does not begin with a character
};

// The first character of a text that is not empty. Longer forms than needed, halves of surrogate
// pairs and what lies beyond U+10FFFF are none.
Character first_character(std::string_view text) {
    const auto byte_at = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const char32_t lead = byte_at(0);
    if (lead < 0x80) {
        return {lead, 1};
    }
    const std::size_t bytes = lead < 0xC2   ? 0
                              : lead < 0xE0 ? 2
                              : lead < 0xF0 ? 3
                              : lead < 0xF5 ? 4
                                            : 0;
    if (bytes == 0 || bytes > text.size()) {
        return {};
    }
    char32_t code = lead & (0x7FU >> bytes);
    for (std::size_t i = 1; i < bytes; ++i) {
        if ((byte_at(i) & 0xC0U) != 0x80) {
            return {};
        }
        code = (code << 6U) | (byte_at(i) & 0x3FU);
    }
    constexpr char32_t k_least[] = {0x80, 0x800, 0x10000};
    if (code < k_least[bytes - 2] || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) {
        return {};
    }
    return {code, bytes};
}

bool is_control(char32_t code) {
    return code < 0x20 || (code >= 0x7F && code < 0xA0);
}

} // namespace

bool is_protocol_text(std::string_view text) {
    while (!text.empty()) {
        const Character first = first_character(text);
        if (first.bytes == 0 || is_control(first.code) || first.code == '"' || first.code == '\\') {
            return false;
        }
        text.remove_prefix(first.bytes);
    }
    return true;
}

bool is_protocol_name(std::string_view text) {
    return !text.empty() && text.size() <= k_name_bytes_max && is_protocol_text(text);
}

std::string printable(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        const Character first = first_character(text);
        const std::size_t bytes = first.bytes > 0 ? first.bytes : 1;
        if (first.bytes == 0 || is_control(first.code)) {
            result += '?';
        } else {
            result += text.substr(0, bytes);
        }
        text.remove_prefix(bytes);
    }
    return result;
}

std::string shortened(std::string_view text, std::size_t characters) {
    std::string_view rest = text;
    for (; characters > 0 && !rest.empty(); --characters) {
        rest.remove_prefix(std::max<std::size_t>(first_character(rest).bytes, 1));
    }
    return std::string(text.substr(0, text.size() - rest.size())) + (rest.empty() ? "" : "...");
}
