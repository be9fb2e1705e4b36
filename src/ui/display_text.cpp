// See ui/display_text.h.
#include "ui/display_text.h"

#include "ui/gobject_ptr.h"

#include <cstring>

namespace {

constexpr gunichar k_incomplete_character = static_cast<gunichar>(-2);

} // namespace

std::string display_text(const char* text) {
    if (text == nullptr) {
        return {};
    }
    std::string result;
    const char* rest = text;
    std::size_t left = std::strlen(text);
    while (left > 0) {
        const char* valid_end = nullptr;
        g_utf8_validate(rest, static_cast<gssize>(left), &valid_end);
        result.append(rest, valid_end);
        left -= static_cast<std::size_t>(valid_end - rest);
        rest = valid_end;
        if (left == 0 ||
            g_utf8_get_char_validated(rest, static_cast<gssize>(left)) == k_incomplete_character) {
            break;
        }
        result.append("\uFFFD");
        ++rest;
        --left;
    }
    return result;
}
