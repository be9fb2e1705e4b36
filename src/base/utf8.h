// UTF-8 characters in texts that come from outside, or that were cut to a number of bytes. Used
// wherever such a text is judged or cut.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

struct Utf8Character {
    std::size_t length = 0; ///< in bytes, of the whole character; 0 where none begins
    bool is_whole = false;  ///< false where the text ends before the character does
};

/// The character at the front of `text`, the first bytes of one included.
constexpr Utf8Character first_utf8_character(std::string_view text) {
    if (text.empty()) {
        return {};
    }
    const auto byte = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned lead = byte(0);
    if (lead < 0x80) {
        return {1, true};
    }
    if (lead < 0xC2 || lead > 0xF4) {
        return {};
    }
    const std::size_t length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    // No form that is longer than needed, no half of a UTF-16 pair, nothing beyond U+10FFFF.
    unsigned lowest = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    unsigned highest = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    for (std::size_t i = 1; i < std::min(length, text.size()); ++i) {
        if (byte(i) < lowest || byte(i) > highest) {
            return {};
        }
        lowest = 0x80; // of all bytes but the second
        highest = 0xBF;
    }
    return {length, text.size() >= length};
}

/// Whether there is nothing but whole characters in `text`.
constexpr bool is_utf8(std::string_view text) {
    while (!text.empty()) {
        const Utf8Character character = first_utf8_character(text);
        if (!character.is_whole) {
            return false;
        }
        text.remove_prefix(character.length);
    }
    return true;
}

/// The length of `text` without a character at its end of which bytes are missing. Bytes that
/// begin no character stay.
constexpr std::size_t length_in_whole_characters(std::string_view text) {
    const std::size_t longest = std::min<std::size_t>(text.size(), 3);
    for (std::size_t count = 1; count <= longest; ++count) {
        const std::string_view end = text.substr(text.size() - count);
        if ((static_cast<unsigned char>(end[0]) & 0xC0U) != 0x80U) {
            const Utf8Character character = first_utf8_character(end);
            return character.length > count ? text.size() - count : text.size();
        }
    }
    return text.size();
}
