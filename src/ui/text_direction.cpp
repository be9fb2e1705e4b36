// See ui/text_direction.h.
#include "ui/text_direction.h"

#include <glib.h>

#include <algorithm>

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

bool turns_line(gunichar character) {
    return std::ranges::any_of(k_turning, [character](const CharacterRange& range) {
        return character >= range.first && character <= range.last;
    });
}

bool turns_line(const std::string& text) {
    const char* const end = text.data() + text.size();
    for (const char* at = text.data(); at < end; at = g_utf8_next_char(at)) {
        if (turns_line(g_utf8_get_char(at))) {
            return true;
        }
    }
    return false;
}

} // namespace

std::string begin_left_to_right(const std::string& text) {
    if (!turns_line(text)) {
        return text;
    }
    // The mark in front is what the line's own direction follows from; the one behind stands for a
    // text that ends the isolation by itself.
    return k_left_to_right_mark + (k_first_strong_isolate + text) + k_pop_isolate +
           k_left_to_right_mark;
}
