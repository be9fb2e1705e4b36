// See ui/sanitisers.h.
#include "ui/sanitisers.h"

#include "base/ascii.h"
#include "base/glib_owner.h"
#include "base/text.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace {

constexpr std::size_t k_max_chat_bytes = 2046; // one blank may follow, and is dropped at the end
constexpr std::string_view k_blanks = " \t\r\n";

/// A sanitiser's result while it grows. The earlier result stays in place until it is overwritten,
/// because it may be what is being read: never is more written than was read.
template <std::size_t Size>
class Kept {
  public:
    explicit Kept(char (&buffer)[Size]) : m_buffer(buffer) {}

    std::size_t length() const { return m_length; }
    bool is_full() const { return m_length == Size - 1; }

    void keep(char byte) {
        m_buffer[m_length] = byte;
        ++m_length;
    }

    void drop_trailing_blanks() {
        while (m_length > 0 && m_buffer[m_length - 1] == ' ') {
            --m_length;
        }
    }

    const char* finish() {
        m_buffer[m_length] = '\0';
        return m_buffer;
    }

  private:
    char (&m_buffer)[Size];
    std::size_t m_length = 0;
};

constexpr bool is_name_byte(char byte) {
    return is_ascii_letter(byte) || is_ascii_digit(byte) || byte == '-' || byte == '_';
}

constexpr bool is_blank(char byte) {
    return k_blanks.find(byte) != std::string_view::npos;
}

constexpr bool is_control(char byte) {
    const auto value = static_cast<unsigned char>(byte);
    return value < 32 || value == 127;
}

/// Keeps the bytes that `is_wanted` accepts until the buffer is full.
template <std::size_t Size>
const char* keep_bytes(char (&buffer)[Size], const char* text, bool (*is_wanted)(char)) {
    Kept kept(buffer);
    for (const char* at = or_empty(text); *at != '\0' && !kept.is_full(); ++at) {
        if (is_wanted(*at)) {
            kept.keep(*at);
        }
    }
    return kept.finish();
}

} // namespace

const char* sanitize_username(const char* text) {
    static char result[64];
    return keep_bytes(result, text, is_name_byte);
}

const char* sanitize_invite_code(const char* text) {
    static char result[128];
    return keep_bytes(result, text, is_name_byte);
}

const char* sanitize_password_input(const char* text) {
    static char result[256];
    return keep_bytes(result, text, [](char byte) { return !is_control(byte); });
}

const char* sanitize_space_name(const char* text) {
    static char result[128];
    Kept kept(result);
    bool last_was_blank = true;
    for (const char* at = or_empty(text); *at != '\0' && !kept.is_full(); ++at) {
        if (is_blank(*at)) {
            if (!last_was_blank) {
                kept.keep(' ');
            }
            last_was_blank = true;
        } else if (is_name_byte(*at) || *at == '.') {
            kept.keep(*at);
            last_was_blank = false;
        }
    }
    kept.drop_trailing_blanks();
    return kept.finish();
}

const char* sanitize_email(const char* text) {
    static char result[128];
    // Cut before it is trimmed: blanks in front count.
    copy_text(result, or_empty(text));
    for (char* at = result; *at != '\0'; ++at) {
        *at = ascii_lower(*at);
    }
    std::string_view address = result;
    address.remove_suffix(address.size() - (address.find_last_not_of(k_blanks) + 1));
    address.remove_prefix(std::min(address.find_first_not_of(k_blanks), address.size()));
    copy_text(result, address);
    return result;
}

const char* sanitize_chat_text(const char* text) {
    static char result[2048];
    const GCharPtr valid(g_utf8_make_valid(or_empty(text), -1));
    Kept kept(result);
    bool last_was_blank = true;
    for (const char* at = or_empty(valid.get()); *at != '\0' && !kept.is_full();) {
        const gunichar character = g_utf8_get_char(at);
        const char* const next = g_utf8_next_char(at);
        if (g_unichar_iscntrl(character) != FALSE || g_unichar_isspace(character) != FALSE) {
            if (!last_was_blank) {
                kept.keep(' ');
            }
            last_was_blank = true;
        } else {
            if (kept.length() + static_cast<std::size_t>(next - at) > k_max_chat_bytes) {
                break;
            }
            for (; at < next; ++at) {
                kept.keep(*at);
            }
            last_was_blank = false;
        }
        at = next;
    }
    kept.drop_trailing_blanks();
    return kept.finish();
}

bool is_valid_email(const char* text) {
    const std::string_view address = or_empty(text);
    const std::size_t at_sign = address.find('@');
    if (at_sign == std::string_view::npos || at_sign == 0) {
        return false;
    }
    const std::string_view domain = address.substr(at_sign + 1);
    const std::size_t dot = domain.rfind('.');
    return dot != std::string_view::npos && dot != 0 && dot + 1 != domain.size();
}
