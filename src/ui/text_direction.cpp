// See ui/text_direction.h.
#include "ui/text_direction.h"

#include <glib.h>

#include <algorithm>
#include <span>

namespace {

constexpr const char* k_left_to_right_mark = "\u200E";
constexpr const char* k_first_strong_isolate = "\u2068";
constexpr const char* k_pop_isolate = "\u2069";

struct CharacterRange {
    gunichar first;
    gunichar last;
};

// Where characters run from right to left, unless said otherwise for one; and what makes others do.
constexpr CharacterRange k_turning[] = {
    {0x0590, 0x08FF}, {0x200F, 0x200F}, {0x202A, 0x202E},   {0x2066, 0x2069},
    {0xFB1D, 0xFDFF}, {0xFE70, 0xFEFE}, {0x10800, 0x10FFF}, {0x1E800, 0x1EFFF},
};

// What a name has no use for: it ends the isolation, or the line, and turns what follows.
constexpr CharacterRange k_left_out[] = {
    {0x000A, 0x000D}, {0x0085, 0x0085}, {0x2028, 0x202E}, {0x2066, 0x2069}};

bool is_among(std::span<const CharacterRange> ranges, gunichar character) {
    return std::ranges::any_of(ranges, [character](const CharacterRange& range) {
        return character >= range.first && character <= range.last;
    });
}

bool turns_line(const std::string& text) {
    const char* const end = text.data() + text.size();
    for (const char* at = text.data(); at < end; at = g_utf8_next_char(at)) {
        if (is_among(k_turning, g_utf8_get_char(at))) {
            return true;
        }
    }
    return false;
}

std::string without_direction_controls(const std::string& text) {
    std::string kept;
    const char* const end = text.data() + text.size();
    for (const char* at = text.data(); at < end; at = g_utf8_next_char(at)) {
        if (!is_among(k_left_out, g_utf8_get_char(at))) {
            kept.append(at, static_cast<const char*>(g_utf8_next_char(at)));
        }
    }
    return kept;
}

} // namespace

std::string begin_left_to_right(const std::string& text) {
    if (!turns_line(text)) {
        return text;
    }
    // The mark is what the line's own direction follows from.
    return k_left_to_right_mark + (k_first_strong_isolate + without_direction_controls(text)) +
           k_pop_isolate;
}
