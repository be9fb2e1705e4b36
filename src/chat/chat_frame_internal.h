// One outgoing frame of the chat channel, written member by member: compact JSON with every text
// escaped.
#pragma once

#include "backend/json_scan.h"
#include "base/text.h"
#include "base/utf8.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

// How much of a value goes out, escaped and with its NUL.
constexpr std::size_t k_escaped_id_size = 128;
constexpr std::size_t k_escaped_token_size = 512;
constexpr std::size_t k_escaped_text_size = 1024;

/// The longest frame, with its NUL: a message to a chat.
constexpr std::size_t k_frame_size = 2048;

/// Escapes `text` as far as it fits, in whole characters: half of one would cost the connection,
/// whose texts are UTF-8.
inline void escape_chat_value(const char* text, std::span<char> out) {
    json_escape(or_empty(text), out);
    out[length_in_whole_characters(out.data())] = '\0';
}

class ChatFrame {
  public:
    explicit ChatFrame(const char* type) { append("{\"type\":\"").append(type).append("\""); }

    ChatFrame& id(const char* key, const char* value) {
        return text<k_escaped_id_size>(key, value);
    }
    ChatFrame& token(const char* value) {
        return text<k_escaped_token_size>("sessionToken", value);
    }
    ChatFrame& message(const char* value) { return text<k_escaped_text_size>("text", value); }

    ChatFrame& number(const char* key, std::int32_t value) {
        char digits[16];
        format_text(digits, "%d", int{value});
        return append_key(key).append(digits);
    }

    /// The whole frame; nothing can be added after.
    const char* finish() { return append("}").m_text; }

  private:
    template <std::size_t Size>
    ChatFrame& text(const char* key, const char* value) {
        char escaped[Size] = "";
        escape_chat_value(value, escaped);
        return append_key(key).append("\"").append(escaped).append("\"");
    }

    ChatFrame& append_key(const char* key) { return append(",\"").append(key).append("\":"); }

    ChatFrame& append(const char* part) {
        copy_text(m_text + m_length, sizeof m_text - m_length, part);
        m_length += std::strlen(m_text + m_length);
        return *this;
    }

    char m_text[k_frame_size] = "";
    std::size_t m_length = 0;
};
