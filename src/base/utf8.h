// Whole UTF-8 characters, for texts that were cut to a number of bytes. Used where a cut text
// leaves the program.
#pragma once

#include <cstddef>
#include <string_view>

/// The length of `text` without a character at its end of which bytes are missing.
constexpr std::size_t length_in_whole_characters(std::string_view text) {
    constexpr auto is_continuation = [](char byte) {
        return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
    };
    std::size_t begin = text.size();
    while (begin > 0 && text.size() - begin < 3 && is_continuation(text[begin - 1])) {
        --begin;
    }
    if (begin == 0) {
        return text.size();
    }
    --begin;
    const auto lead = static_cast<unsigned char>(text[begin]);
    const std::size_t wanted = lead >= 0xF0U ? 4 : lead >= 0xE0U ? 3 : lead >= 0xC0U ? 2 : 1;
    return text.size() - begin < wanted ? begin : text.size();
}
