// The frames that the client sends on the chat channel: a table of their forms, and one of them
// written out, as compact JSON with every text escaped.
#pragma once

#include "backend/json_scan.h"
#include "base/text.h"
#include "base/utf8.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

// How much of a value goes out, escaped and with its NUL.
constexpr std::size_t k_escaped_id_size = 128;
constexpr std::size_t k_escaped_token_size = 512;
constexpr std::size_t k_escaped_text_size = 1024;
constexpr std::size_t k_number_size = sizeof "-2147483648";

/// Escapes `text` as far as it fits, in whole characters: half of one would cost the connection,
/// whose texts are UTF-8.
inline void escape_chat_value(const char* text, std::span<char> out) {
    json_escape(or_empty(text), out);
    out[length_in_whole_characters(out.data())] = '\0';
}

struct FrameMember {
    const char* key;  ///< null behind the last one
    std::size_t size; ///< of its value
    bool is_text;     ///< in quotes
};

struct FrameForm {
    const char* type;
    std::size_t size; ///< of the frame's room, with its NUL
    std::array<FrameMember, 4> members;
};

constexpr FrameMember k_member_channel{"channel", k_escaped_id_size, true};
constexpr FrameMember k_member_room{"roomId", k_escaped_id_size, true};
constexpr FrameMember k_member_space{"spaceId", k_escaped_id_size, true};
constexpr FrameMember k_member_publisher{"publisherUserId", k_escaped_id_size, true};
constexpr FrameMember k_member_token{"sessionToken", k_escaped_token_size, true};
constexpr FrameMember k_member_limit{"limit", k_number_size, false};
constexpr FrameMember k_member_before{"before", k_escaped_id_size, true};
constexpr FrameMember k_member_text{"text", k_escaped_text_size, true};

constexpr FrameForm k_frame_auth{"auth", 1024, {k_member_token}};
constexpr FrameForm k_frame_follow_space{
    "subscribe", 1024, {k_member_channel, k_member_space, k_member_token}};
constexpr FrameForm k_frame_follow_room{"subscribe", 1024, {k_member_channel, k_member_room}};
constexpr FrameForm k_frame_join{"chat:join", 1024, {k_member_space, k_member_token}};
constexpr FrameForm k_frame_room_history{
    "messages:history", 1024, {k_member_room, k_member_token, k_member_limit}};
constexpr FrameForm k_frame_older_room_history{
    "messages:history", 1024, {k_member_room, k_member_token, k_member_limit, k_member_before}};
constexpr FrameForm k_frame_space_history{
    "messages:history", 1024, {k_member_space, k_member_token, k_member_limit}};
constexpr FrameForm k_frame_older_space_history{
    "messages:history", 1024, {k_member_space, k_member_token, k_member_limit, k_member_before}};
constexpr FrameForm k_frame_room_message{
    "message:send", 2048, {k_member_room, k_member_token, k_member_text}};
constexpr FrameForm k_frame_space_message{
    "message:send", 2048, {k_member_space, k_member_token, k_member_text}};
constexpr FrameForm k_frame_stream_start{"stream:start", 1024, {k_member_space, k_member_token}};
constexpr FrameForm k_frame_stream_stop{"stream:stop", 1024, {k_member_space, k_member_token}};
constexpr FrameForm k_frame_stream_watch{
    "stream:watch", 1200, {k_member_space, k_member_publisher, k_member_token}};
constexpr FrameForm k_frame_stream_unwatch{
    "stream:unwatch", 1200, {k_member_space, k_member_publisher, k_member_token}};

constexpr std::size_t frame_member_count(const FrameForm& form) {
    std::size_t count = 0;
    while (count < form.members.size() && form.members[count].key != nullptr) {
        ++count;
    }
    return count;
}

/// The room that the longest frame of this form takes, with its NUL.
constexpr std::size_t longest_frame(const FrameForm& form) {
    std::size_t size = sizeof R"({"type":""})" + std::string_view(form.type).size();
    for (std::size_t i = 0; i < frame_member_count(form); ++i) {
        const FrameMember& member = form.members[i];
        size += std::string_view(member.is_text ? R"(,"":"")" : R"(,"":)").size() +
                std::string_view(member.key).size() + member.size - 1;
    }
    return size;
}

/// One frame, written from the values of its members in their order; a null text is empty.
template <const FrameForm& Form>
class ChatFrame {
    static_assert(longest_frame(Form) <= Form.size, "a frame that is cut is no JSON");

  public:
    template <typename... Values>
    explicit ChatFrame(const Values&... values) {
        static_assert(sizeof...(Values) == frame_member_count(Form));
        append("{\"type\":\"").append(Form.type).append("\"");
        const FrameMember* member = Form.members.data();
        (append_member(*member++, values), ...);
        append("}");
    }

    /// Lives as long as this.
    const char* text() const { return m_text; }

  private:
    void append_member(const FrameMember& member, const char* value) {
        char escaped[k_escaped_text_size] = "";
        escape_chat_value(value, std::span(escaped).first(member.size));
        append(",\"").append(member.key).append("\":\"").append(escaped).append("\"");
    }

    void append_member(const FrameMember& member, std::int32_t value) {
        char digits[k_number_size];
        format_text(digits, "%d", int{value});
        append(",\"").append(member.key).append("\":").append(digits);
    }

    ChatFrame& append(const char* part) {
        copy_text(m_text + m_length, sizeof m_text - m_length, part);
        m_length += std::strlen(m_text + m_length);
        return *this;
    }

    char m_text[Form.size] = {};
    std::size_t m_length = 0;
};
