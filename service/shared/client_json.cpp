// See service/shared/client_json.h.
#include "service/shared/client_json.h"

#include "base/utf8.h"

#include <cstddef>

std::string without_cut_characters(std::string_view json) {
    std::string text;
    text.reserve(json.size());
    bool in_string = false;
    for (std::size_t i = 0; i < json.size(); ++i) {
        if (json[i] == '"') {
            if (in_string) {
                text.resize(length_in_whole_characters(text));
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
    return text.substr(0, length_in_whole_characters(text));
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
