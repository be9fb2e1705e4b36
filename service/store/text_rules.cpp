// See service/store/text_rules.h.
#include "service/store/text_rules.h"

#include "base/ascii.h"
#include "service/store/store_limits.h"

#include <algorithm>

namespace {

constexpr std::string_view k_blanks = " \t\r\n";

std::string_view trimmed(std::string_view text) {
    const std::size_t begin = text.find_first_not_of(k_blanks);
    if (begin == std::string_view::npos) {
        return {};
    }
    return text.substr(begin, text.find_last_not_of(k_blanks) - begin + 1);
}

// The length of the control character that `text` begins with, 0 for none. Of those beyond ASCII:
// U+0080 to U+009F, the line ends U+2028 and U+2029, and the marks U+202A to U+202E and U+2066 to
// U+2069, after which a name reads backwards.
std::size_t control_character_bytes(std::string_view text) {
    const auto byte = [&](std::size_t i) {
        return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U;
    };
    if (byte(0) < 0x20 || byte(0) == 0x7F) {
        return 1;
    }
    if (byte(0) == 0xC2 && byte(1) < 0xA0) {
        return 2;
    }
    const bool is_mark =
        byte(0) == 0xE2 && ((byte(1) == 0x80 && byte(2) >= 0xA8 && byte(2) <= 0xAE) ||
                            (byte(1) == 0x81 && byte(2) >= 0xA6 && byte(2) <= 0xA9));
    return is_mark ? 3 : 0;
}

bool is_host_label(std::string_view label) {
    return !label.empty() && label.size() <= 63 && label.front() != '-' && label.back() != '-' &&
           std::all_of(label.begin(), label.end(),
                       [](char c) { return is_ascii_lower(c) || is_ascii_digit(c) || c == '-'; });
}

bool is_host_name(std::string_view host) {
    std::size_t labels = 0;
    while (true) {
        const std::size_t dot = host.find('.');
        if (!is_host_label(host.substr(0, dot))) {
            return false;
        }
        ++labels;
        if (dot == std::string_view::npos) {
            return labels >= 2;
        }
        host.remove_prefix(dot + 1);
    }
}

bool is_mailbox(std::string_view name) {
    constexpr std::string_view k_symbols = "!#$%&'*+/=?^_`|~.-";
    return !name.empty() && name.size() <= 64 && name.front() != '.' && name.back() != '.' &&
           name.find("..") == std::string_view::npos &&
           std::all_of(name.begin(), name.end(), [&](char c) {
               return is_ascii_lower(c) || is_ascii_digit(c) ||
                      k_symbols.find(c) != std::string_view::npos;
           });
}

} // namespace

std::size_t count_characters(std::string_view text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) {
        return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
    }));
}

bool has_control_characters(std::string_view text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (control_character_bytes(text.substr(i)) > 0) {
            return true;
        }
    }
    return false;
}

std::optional<std::string> clean_name(std::string_view name) {
    const std::string_view clean = trimmed(name);
    const std::size_t characters = count_characters(clean);
    if (characters < k_min_name_characters || characters > k_max_name_characters ||
        clean.size() > k_max_name_bytes_stored || has_control_characters(clean)) {
        return std::nullopt;
    }
    return std::string(clean);
}

std::string clean_message(std::string_view text) {
    std::string clean;
    bool is_blank_wanted = false;
    while (!text.empty()) {
        const std::size_t control = control_character_bytes(text);
        if (control > 0 || text.front() == ' ') {
            is_blank_wanted = !clean.empty();
            text.remove_prefix(std::max<std::size_t>(control, 1));
            continue;
        }
        if (is_blank_wanted) {
            clean += ' ';
            is_blank_wanted = false;
        }
        clean += text.front();
        text.remove_prefix(1);
    }
    return clean;
}

std::string clean_email(std::string_view email) {
    std::string clean(trimmed(email));
    for (char& c : clean) {
        c = ascii_lower(c);
    }
    return clean;
}

bool is_plausible_email(std::string_view email) {
    const std::size_t at = email.find('@');
    return at != std::string_view::npos && email.size() <= k_max_email_bytes &&
           is_mailbox(email.substr(0, at)) && is_host_name(email.substr(at + 1));
}

bool is_strong_password(std::string_view password) {
    const auto has = [&](auto kind) { return std::any_of(password.begin(), password.end(), kind); };
    const auto is_symbol = [](char c) { return !is_ascii_letter(c) && !is_ascii_digit(c); };
    return count_characters(password) >= k_min_password_characters && has(is_ascii_upper) &&
           has(is_ascii_lower) && has(is_ascii_digit) && has(is_symbol);
}

std::string username_base(std::string_view email) {
    std::string base;
    for (const char c : email.substr(0, email.find('@'))) {
        const bool is_kept = is_ascii_letter(c) || is_ascii_digit(c) || c == '-' || c == '_';
        if (is_kept && base.size() < k_max_username_bytes) {
            base += c;
        }
    }
    return base.empty() ? "usuario" : base;
}
