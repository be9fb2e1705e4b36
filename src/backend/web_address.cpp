// See backend/web_address_internal.h.
#include "backend/web_address_internal.h"

#include <cstdint>
#include <string_view>

namespace {

constexpr std::string_view k_replacement = "\xEF\xBF\xBD";

// The well-formed sequences by their first byte: how many bytes follow, and the range of the second
// one, which rules out overlong forms, surrogates and what lies above U+10FFFF.
struct Utf8Lead {
    std::uint8_t first;
    std::uint8_t last;
    std::uint8_t following;
    std::uint8_t second_first;
    std::uint8_t second_last;
};

constexpr Utf8Lead k_leads[] = {
    {0x00, 0x7F, 0, 0x00, 0x00}, //
    {0xC2, 0xDF, 1, 0x80, 0xBF}, //
    {0xE0, 0xE0, 2, 0xA0, 0xBF}, //
    {0xE1, 0xEC, 2, 0x80, 0xBF}, //
    {0xED, 0xED, 2, 0x80, 0x9F}, //
    {0xEE, 0xEF, 2, 0x80, 0xBF}, //
    {0xF0, 0xF0, 3, 0x90, 0xBF}, //
    {0xF1, 0xF3, 3, 0x80, 0xBF}, //
    {0xF4, 0xF4, 3, 0x80, 0x8F}, //
};

struct Character {
    std::size_t length; ///< bytes, at least 1; of a broken one, those that one U+FFFD stands for
    bool broken;
};

/// The character at the start of `text`, which is not empty.
Character next_character(std::string_view text) {
    const auto byte = [text](std::size_t i) { return static_cast<std::uint8_t>(text[i]); };
    for (const Utf8Lead& lead : k_leads) {
        if (byte(0) < lead.first || byte(0) > lead.last) {
            continue;
        }
        std::uint8_t low = lead.second_first;
        std::uint8_t high = lead.second_last;
        for (std::size_t i = 1; i <= lead.following; ++i) {
            if (i == text.size() || byte(i) < low || byte(i) > high) {
                return {i, true};
            }
            low = 0x80;
            high = 0xBF;
        }
        return {std::size_t{lead.following} + 1, false};
    }
    return {1, true};
}

} // namespace

std::optional<std::string> web_address(const char* url, std::size_t units_max) {
    if (url == nullptr) {
        return std::nullopt;
    }
    std::string address;
    std::size_t units = 0;
    for (std::string_view rest = url; !rest.empty();) {
        const Character character = next_character(rest);
        address += character.broken ? k_replacement : rest.substr(0, character.length);
        rest.remove_prefix(character.length);
        units += !character.broken && character.length == 4 ? 2 : 1;
        if (units > units_max) {
            return std::nullopt;
        }
    }
    return address;
}
