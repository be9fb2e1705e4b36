// See sanitiser_reference.h.
#include "unit/texts/sanitiser_reference.h"

#include "ui/sanitisers.h"

#include <glib.h>

#include <algorithm>
#include <cstdint>
#include <sstream>
#include <string_view>
#include <vector>

namespace {

constexpr std::string_view k_name_bytes =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_";
constexpr std::string_view k_blanks = " \t\r\n";
constexpr char32_t k_replacement = 0xFFFD;

bool is_one_of(std::string_view set, char byte) {
    return set.find(byte) != std::string_view::npos;
}

std::string only(std::string_view set, std::string text) {
    std::erase_if(text, [set](char byte) { return !is_one_of(set, byte); });
    return text;
}

template <typename Text>
Text without_outer(Text text, Text blanks) {
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == Text::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

template <typename Text>
Text with_single_blanks(Text text) {
    const auto both_blank = [](auto one, auto other) { return one == ' ' && other == ' '; };
    text.erase(std::unique(text.begin(), text.end(), both_blank), text.end());
    return text;
}

/// Each byte that begins no character becomes a replacement character.
std::u32string decode(const std::string& text) {
    std::u32string characters;
    for (std::size_t at = 0; at < text.size();) {
        const gunichar character =
            g_utf8_get_char_validated(&text[at], static_cast<gssize>(text.size() - at));
        const bool is_valid = character < 0x110000;
        characters += is_valid ? static_cast<char32_t>(character) : k_replacement;
        at += is_valid ? static_cast<std::size_t>(g_unichar_to_utf8(character, nullptr)) : 1;
    }
    return characters;
}

std::string encode(char32_t character) {
    const auto byte = [](char32_t bits) { return static_cast<char>(bits); };
    const auto tail = [character, byte](int shift) {
        return byte(0x80 | ((character >> shift) & 0x3F));
    };
    if (character < 0x80) {
        return {byte(character)};
    }
    if (character < 0x800) {
        return {byte(0xC0 | (character >> 6)), tail(0)};
    }
    if (character < 0x10000) {
        return {byte(0xE0 | (character >> 12)), tail(6), tail(0)};
    }
    return {byte(0xF0 | (character >> 18)), tail(12), tail(6), tail(0)};
}

bool is_blank_or_control(char32_t character) {
    switch (g_unichar_type(character)) {
    case G_UNICODE_CONTROL:
    case G_UNICODE_SPACE_SEPARATOR:
    case G_UNICODE_LINE_SEPARATOR:
    case G_UNICODE_PARAGRAPH_SEPARATOR:
        return true;
    default:
        return false;
    }
}

} // namespace

std::string reference_username(const std::string& text) {
    return only(k_name_bytes, text).substr(0, 63);
}

std::string reference_invite_code(const std::string& text) {
    return only(k_name_bytes, text).substr(0, 127);
}

std::string reference_space_name(const std::string& text) {
    std::string name = text;
    for (const char blank : {'\t', '\r', '\n'}) {
        std::replace(name.begin(), name.end(), blank, ' ');
    }
    name = with_single_blanks(only(std::string(k_name_bytes) + ". ", name));
    if (name.starts_with(' ')) {
        name.erase(0, 1);
    }
    name = name.substr(0, 127);
    if (name.ends_with(' ')) {
        name.pop_back();
    }
    return name;
}

std::string reference_email(const std::string& text) {
    std::string address = text.substr(0, 127);
    for (char letter = 'A'; letter <= 'Z'; ++letter) {
        std::replace(address.begin(), address.end(), letter, static_cast<char>(letter | 0x20));
    }
    return without_outer(address, std::string(k_blanks));
}

std::string reference_password_input(const std::string& text) {
    std::string password = text;
    for (int control = 1; control < 32; ++control) {
        std::erase(password, static_cast<char>(control));
    }
    std::erase(password, '\x7F');
    return password.substr(0, 255);
}

std::string reference_chat_text(const std::string& text) {
    std::u32string characters = decode(text);
    std::replace_if(characters.begin(), characters.end(), is_blank_or_control, U' ');
    characters = without_outer(with_single_blanks(characters), std::u32string(U" "));
    std::string message;
    for (const char32_t character : characters) {
        const std::string encoded = encode(character);
        if (message.size() + encoded.size() > 2046) {
            break;
        }
        message += encoded;
    }
    if (message.ends_with(' ')) {
        message.pop_back();
    }
    return message;
}

bool reference_is_valid_email(const std::string& text) {
    std::istringstream rest(text);
    std::string local;
    if (!std::getline(rest, local, '@') || local.empty() || local == text) {
        return false;
    }
    std::vector<std::string> parts(1);
    for (const char byte : text.substr(local.size() + 1)) {
        if (byte == '.') {
            parts.emplace_back();
        } else {
            parts.back() += byte;
        }
    }
    const bool has_name = parts.size() > 2 || !parts.front().empty();
    return parts.size() > 1 && has_name && !parts.back().empty();
}

const SanitiserCase k_sanitisers[k_sanitiser_count] = {
    {"username", sanitize_username, reference_username, 63},
    {"space name", sanitize_space_name, reference_space_name, 127},
    {"email", sanitize_email, reference_email, 127},
    {"invite code", sanitize_invite_code, reference_invite_code, 127},
    {"password", sanitize_password_input, reference_password_input, 255},
    {"chat text", sanitize_chat_text, reference_chat_text, 2046},
};

std::string fault_of_result(const SanitiserCase& sanitiser, const std::string& result) {
    const std::string_view name = sanitiser.name;
    if (result.size() > sanitiser.most_bytes) {
        return "too long";
    }
    const bool is_trimmed = name == "space name" || name == "email" || name == "chat text";
    if (is_trimmed && without_outer(result, std::string(k_blanks)) != result) {
        return "blanks around it";
    }
    if ((name == "space name" || name == "chat text") && result.find("  ") != std::string::npos) {
        return "two blanks in a row";
    }
    if (name == "chat text") {
        return g_utf8_validate(result.c_str(), -1, nullptr) != FALSE ? "" : "not UTF-8";
    }
    const auto is_allowed = [name](char byte) {
        const auto value = static_cast<std::uint8_t>(byte);
        if (name == "email") {
            return value < 'A' || value > 'Z';
        }
        if (name == "password") {
            return value >= 32 && value != 127;
        }
        return is_one_of(k_name_bytes, byte) ||
               (name == "space name" && (byte == '.' || byte == ' '));
    };
    return std::all_of(result.begin(), result.end(), is_allowed) ? ""
                                                                 : "a byte that is not allowed";
}
