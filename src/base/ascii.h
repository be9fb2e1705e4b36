// Letters, digits and case of ASCII, whatever the locale; all other bytes are left alone.
#pragma once

#include <algorithm>
#include <string_view>

constexpr bool is_ascii_lower(char byte) {
    return byte >= 'a' && byte <= 'z';
}

constexpr bool is_ascii_upper(char byte) {
    return byte >= 'A' && byte <= 'Z';
}

constexpr bool is_ascii_letter(char byte) {
    return is_ascii_lower(byte) || is_ascii_upper(byte);
}

constexpr bool is_ascii_digit(char byte) {
    return byte >= '0' && byte <= '9';
}

constexpr char ascii_lower(char byte) {
    return is_ascii_upper(byte) ? static_cast<char>(byte - 'A' + 'a') : byte;
}

constexpr char ascii_upper(char byte) {
    return is_ascii_lower(byte) ? static_cast<char>(byte - 'a' + 'A') : byte;
}

/// Whether `text` begins with `prefix`, given in lower case, in any case.
constexpr bool ascii_begins_with(std::string_view text, std::string_view prefix) {
    return text.size() >= prefix.size() &&
           std::equal(prefix.begin(), prefix.end(), text.begin(),
                      [](char wanted, char byte) { return wanted == ascii_lower(byte); });
}

/// Whether `text` is `wanted`, given in lower case, in any case.
constexpr bool ascii_equals(std::string_view text, std::string_view wanted) {
    return text.size() == wanted.size() && ascii_begins_with(text, wanted);
}
