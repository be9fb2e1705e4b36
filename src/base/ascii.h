// Letters of ASCII, whatever the locale; all other bytes are left alone.
#pragma once

#include <algorithm>
#include <string_view>

constexpr char ascii_lower(char byte) {
    return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte - 'A' + 'a') : byte;
}

/// Whether `text` begins with `prefix`, given in lower case, in any case.
constexpr bool ascii_begins_with(std::string_view text, std::string_view prefix) {
    return text.size() >= prefix.size() &&
           std::equal(prefix.begin(), prefix.end(), text.begin(),
                      [](char wanted, char byte) { return wanted == ascii_lower(byte); });
}
