// See service/client_json.h.
#include "service/client_json.h"

#include <algorithm>
#include <cstddef>

namespace {

// False when no UTF-8 character begins with these two bytes: it would have a shorter form, be half
// of a UTF-16 pair, or lie beyond U+10FFFF. `second` is a continuation byte.
bool may_follow(unsigned char lead, unsigned char second) {
    switch (lead) {
    case 0xE0:
        return second >= 0xA0;
    case 0xED:
        return second < 0xA0;
    case 0xF0:
        return second >= 0x90;
    case 0xF4:
        return second < 0x90;
    default:
        return true;
    }
}

// How many bytes at the end of `text` begin a UTF-8 character without ending it.
std::size_t cut_character_bytes(std::string_view text) {
    const std::size_t longest = std::min<std::size_t>(text.size(), 3);
    for (std::size_t count = 1; count <= longest; ++count) {
        const auto* const bytes =
            reinterpret_cast<const unsigned char*>(text.data() + text.size() - count);
        const unsigned char lead = bytes[0];
        if ((lead & 0xC0) == 0x80) {
            continue; // not the first byte yet
        }
        const std::size_t whole = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
        const bool is_lead = lead >= 0xC2 && lead <= 0xF4;
        return is_lead && count < whole && (count == 1 || may_follow(lead, bytes[1])) ? count : 0;
    }
    return 0;
}

} // namespace

std::string without_cut_characters(std::string_view json) {
    std::string text;
    text.reserve(json.size());
    bool in_string = false;
    for (std::size_t i = 0; i < json.size(); ++i) {
        if (json[i] == '"') {
            if (in_string) {
                text.resize(text.size() - cut_character_bytes(text));
            }
            in_string = !in_string;
        } else if (in_string && json[i] == '\\' && i + 1 < json.size()) {
            text += json[i++];
        }
        text += json[i];
    }
    return text;
}

std::string_view without_cut_character(std::string_view text) {
    return text.substr(0, text.size() - cut_character_bytes(text));
}

std::string with_escaped_controls(std::string_view json) {
    constexpr std::string_view k_digits = "0123456789abcdef";
    std::string text;
    text.reserve(json.size());
    bool in_string = false;
    for (std::size_t i = 0; i < json.size(); ++i) {
        const auto byte = static_cast<unsigned char>(json[i]);
        if (in_string && byte < 0x20) {
            text += "\\u00";
            text += k_digits[byte >> 4];
            text += k_digits[byte & 15];
            continue;
        }
        if (byte == '"') {
            in_string = !in_string;
        } else if (in_string && byte == '\\' && i + 1 < json.size()) {
            text += json[i++]; // a control byte behind it stays, and stays no JSON
        }
        text += json[i];
    }
    return text;
}
