// See service/shared/chat_texts.h.
#include "service/shared/chat_texts.h"

#include "service/shared/flat_json.h"
#include "service/store/store_limits.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <charconv>
#include <vector>

namespace {

constexpr char k_cursor_mark = 'm';
constexpr std::size_t k_frame_bytes = 128; // a page without its messages

} // namespace

const char* message_fault(std::string_view text) {
    if (text.empty()) {
        return "El mensaje está vacío";
    }
    return text.size() > k_max_message_bytes ? "El mensaje es demasiado largo" : nullptr;
}

std::string message_text(const Message& message) {
    AnswerJson json;
    json["senderDisplayName"] = message.sender_name;
    json["createdAt"] = iso_time(message.created_at);
    json["text"] = message.text;
    return compact_text(json);
}

std::string history_text(Database& database, const ChatScope& scope, HistoryRequest wanted) {
    const std::int64_t limit = std::clamp<std::int64_t>(wanted.limit, 1, k_max_page_messages);
    const std::vector<Message> found = list_messages(database, scope, wanted.before, limit + 1);
    std::vector<std::string> texts; // newest first
    std::size_t bytes = k_frame_bytes;
    for (const Message& message : found) {
        std::string text = message_text(message);
        bytes += text.size() + 1;
        if (texts.size() == static_cast<std::size_t>(limit) || bytes > k_max_history_answer_bytes) {
            break;
        }
        texts.push_back(std::move(text));
    }
    const bool has_more = texts.size() < found.size();
    std::string page = has_more ? "{\"hasMore\":true,\"nextBefore\":\"" +
                                      cursor_text(found[texts.size() - 1].number)
                                : "{\"hasMore\":false,\"nextBefore\":\"";
    page += "\",\"messages\":[";
    for (auto text = texts.rbegin(); text != texts.rend(); ++text) {
        page += text == texts.rbegin() ? "" : ",";
        page += *text;
    }
    return page + "]}";
}

std::string room_text(const Room& room) {
    AnswerJson json;
    json["id"] = room.id;
    json["name"] = room.name;
    json["createdByUserId"] = room.created_by;
    return compact_text(json);
}

std::string cursor_text(std::int64_t number) {
    return k_cursor_mark + std::to_string(number);
}

std::optional<std::int64_t> read_cursor(std::string_view cursor) {
    std::int64_t number = 0;
    if (cursor.empty() || cursor.front() != k_cursor_mark) {
        return std::nullopt;
    }
    const char* const end = cursor.data() + cursor.size();
    const auto [stop, code] = std::from_chars(cursor.data() + 1, end, number);
    return code == std::errc() && stop == end && number > 0 ? std::optional(number) : std::nullopt;
}
